#pragma once

#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

#include <string>
#include <string_view>

namespace lingrelay {

/// A sink that nobody hears, made by this program: when that dies, the server drops it. Under the connection's lock.
class MuteSink {
public:
    explicit MuteSink(PipeWireConnection& connection) : m_connection(connection) { }
    ~MuteSink() { destroy(); }
    MuteSink(MuteSink const&) = delete;
    MuteSink& operator=(MuteSink const&) = delete;

    /// A sink of any instance of the program, by node name.
    static bool is(std::string_view nodeName);
    /// This process's.
    static std::string ownName();

    std::string const& name() const { return m_name; }
    /// Not on the loop: waits until it is there. 0, or the server's error.
    int make();
    /// Makes it once more if it could not be made or was taken away. To be called again and again.
    void keep();
    void destroy();
    bool failed() const { return m_error != 0; }
    PipeWireConnection::Object const* node() const { return m_connection.node(m_name); }
    bool isEmpty() const;

private:
    void create();

    PipeWireConnection& m_connection;
    std::string m_name = ownName();
    pw_proxy* m_proxy = nullptr;
    spa_hook m_listener{};
    int m_error = 0;
    bool m_lost = false; ///< somebody has taken it away
    Instant m_made{}; ///< or tried to
};

} // namespace lingrelay
