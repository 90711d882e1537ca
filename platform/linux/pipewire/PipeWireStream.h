#pragma once

#include "base/Result.h"
#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/PortLinks.h"

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// One stream of this program's, made anew whenever the server comes back. Derived classes call `open` at the end of
/// their construction and `close` at the beginning of their destruction.
///
/// It links itself: the session manager would let a stream with a device begin at the default one, would move it there
/// when its own goes away, and would move one that follows the default into the virtual microphone.
class PipeWireStream : protected PipeWireConnection::Member {
public:
    struct Plan {
        pw_direction direction = PW_DIRECTION_INPUT;
        char const* name = ""; ///< of the node
        char const* description = "";
        double rate = 48000; ///< of 32-bit float samples
        int channels = 1;
        std::string latency{}; ///< a fraction of seconds; empty: the graph's own
        /// The name of the node that the stream is linked to at the moment, empty for none; called on the loop. Without
        /// this function the derived class says what the stream is linked to, which can be nothing.
        std::function<std::string()> device{};
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
    /// On the loop: what is to be linked; the plan's device, channel by channel, unless a derived class says otherwise.
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
