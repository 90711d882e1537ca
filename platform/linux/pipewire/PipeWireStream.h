#pragma once

#include "base/Result.h"
#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/PortLinks.h"

#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// One stream of this program's, made anew whenever the server comes back. Derived classes call `open` at the end of
/// their construction and `close` at the beginning of their destruction.
///
/// A stream with a device of its own is linked to it by itself: the session manager would let it begin at the default
/// device, and would move it there when its own goes away.
class PipeWireStream : protected PipeWireConnection::Member {
public:
    struct Plan {
        pw_direction direction = PW_DIRECTION_INPUT;
        char const* name = ""; ///< of the node
        char const* description = "";
        double rate = 48000; ///< of 32-bit float samples
        int channels = 1;
        std::string latency{}; ///< a fraction of seconds; empty: the graph's own
        enum class Source { standard, device, programs } source = Source::standard;
        std::string device{}; ///< node name
    };

protected:
    PipeWireStream(PipeWireConnection& connection, Plan plan);
    ~PipeWireStream() = default;

    void open();
    void close();

    /// The data thread; real time.
    virtual void process() = 0;
    /// On the loop: sound flows (nothing), or it does not and why. Once for each change.
    virtual void report(std::optional<Error> const& problem) = 0;
    /// On the loop: what a stream that is linked by itself is linked to.
    virtual std::vector<PortLinks::Ends> wantedLinks() const;

    void connected() override { m_fine = Clock::now(); }
    void disconnected() override;
    void changed() override;
    void tick() override { changed(); }

    PipeWireConnection& connection() const { return m_connection; }
    Plan const& plan() const { return m_plan; }
    pw_stream* stream() const { return m_stream; }
    /// On the loop; ours, in the order of the channels.
    std::vector<PipeWireConnection::Object const*> ownPorts() const;

private:
    void build();
    void destroy();
    bool hasDevice() const;
    bool flows() const;
    void judge();
    void stateChanged(pw_stream_state state, char const* error);
    void tell(std::optional<Error> const& problem);

    PipeWireConnection& m_connection;
    Plan m_plan;
    PortLinks m_links;
    pw_stream* m_stream = nullptr;
    spa_hook m_listener{};
    bool m_ending = false; ///< the stream is taken down; what it reports is no news
    bool m_streaming = false;
    std::string m_refusal; ///< the server's, of the stream
    std::optional<Instant> m_broken; ///< when the server, or somebody through it, has ended the stream
    Instant m_fine{}; ///< when sound last flowed, or had reason not to
    std::optional<std::string> m_told; ///< the message; empty: that sound flows
};

/// What the user reads when there is nothing to connect to.
Error noServerError();
Error noDeviceError();

} // namespace lingrelay
