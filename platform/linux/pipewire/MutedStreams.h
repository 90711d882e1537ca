#pragma once

#include "base/Time.h"
#include "platform/SoundMuter.h"
#include "platform/linux/pipewire/DoubledLinks.h"
#include "platform/linux/pipewire/MuteSink.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SoundGuard.h"
#include "platform/linux/pipewire/StreamTargets.h"

#include <map>
#include <string>

namespace lingrelay {

/// Keeps the streams of other programs in a mute sink, also those that begin meanwhile, and gives each back where it
/// was. A device that the session manager remembers of a program and that is not there while the program is muted is
/// forgotten. Any thread.
class MutedStreams final : public SoundMuter::Silence, private PipeWireConnection::Member {
public:
    /// `silences` counts those of this process that have begun.
    MutedStreams(PipeWireConnection& connection, SoundGuard& guard, int& silences);
    ~MutedStreams() override;

    /// Under the connection's lock.
    MuteSink& sink() { return m_sink; }
    /// Begins to move streams. Under the connection's lock.
    void begin();

private:
    using Value = PipeWireConnection::MetadataValue;

    struct Moved {
        std::string serial; ///< the stream's; a number is given to others later
        StreamTargets::Before before;
        Instant asked{};
        bool seen = false; ///< the server has told that it is in the sink
        std::string remembered = {}; ///< its device, which has been kept
        bool lent = false; ///< that has been made known by this program
    };

    void disconnected() override;
    void changed() override;
    void tick() override;
    void told(std::uint32_t subject, std::string const& key, std::optional<Value> const& value) override;
    void move(PipeWireConnection::Object const& stream);
    void noteBefore(std::uint32_t stream, Moved& moved, std::optional<Value> const& target);
    void keepRemembered();

    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    int& m_silences;
    MuteSink m_sink;
    StreamTargets m_targets;
    DoubledLinks m_doubled;
    bool m_begun = false;
    bool m_moving = false; ///< which makes changes by itself
    std::map<std::uint32_t, Moved> m_moved;
};

} // namespace lingrelay
