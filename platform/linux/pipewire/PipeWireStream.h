#pragma once

#include "base/Result.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

#include <atomic>
#include <optional>
#include <string>

namespace lingrelay {

/// One stream of this program's, made anew whenever the server comes back. Derived classes call `open` at the end of
/// their construction and `close` at the beginning of their destruction.
class PipeWireStream : protected PipeWireConnection::Member {
public:
    struct Plan {
        pw_direction direction = PW_DIRECTION_INPUT;
        char const* name = ""; ///< of the node
        char const* description = "";
        double rate = 48000; ///< of 32-bit float samples
        int channels = 1;
        std::string latency{}; ///< a fraction of seconds; empty: the graph's own
        std::optional<std::string> target{}; ///< node name; nothing: the default, and whatever it becomes
        enum class Links { automatic, monitor, none } links = Links::automatic;
    };

protected:
    PipeWireStream(PipeWireConnection& connection, Plan plan) : m_connection(connection), m_plan(std::move(plan)) { }
    ~PipeWireStream() = default;

    void open();
    void close();

    /// The data thread; real time.
    virtual void process() = 0;
    /// On the loop: sound flows (nothing), or it does not and why. Once for each change.
    virtual void report(std::optional<Error> const& problem) = 0;
    void connected() override { build(); }
    void disconnected() override;
    void changed() override;
    void tick() override;

    /// Where the stream's links lead. Any thread.
    enum class Place {
        right, ///< to its device, or it has none of its own
        moving, ///< not there yet
        astray, ///< its device is gone, and the session manager may have chosen another
    };
    Place place() const { return m_place; }

    PipeWireConnection& connection() const { return m_connection; }
    Plan const& plan() const { return m_plan; }
    pw_stream* stream() const { return m_stream; }
    /// On the loop; PW_ID_ANY while the server has not said.
    std::uint32_t nodeId() const;

private:
    enum class Told { nothing, flows, problem };

    void build();
    void destroy();
    void pin();
    void stateChanged(pw_stream_state state, char const* error);
    void tell(std::optional<Error> const& problem);

    PipeWireConnection& m_connection;
    Plan m_plan;
    pw_stream* m_stream = nullptr;
    spa_hook m_listener{};
    bool m_streaming = false;
    bool m_pinned = false;
    int m_waited = 0; ///< ticks without sound
    Told m_told = Told::nothing;
    std::atomic<Place> m_place{Place::right};
};

/// What the user reads when there is nothing to connect to.
Error noServerError();

} // namespace lingrelay
