#pragma once

#include "platform/SoundMuter.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SoundGuard.h"

#include <map>
#include <set>

namespace lingrelay {

/// Silences other programs by sending their streams into a sink of this program's: when it dies, the server drops the
/// sink and the streams go elsewhere by themselves. The guard then gives each its own device back. A device that the
/// session manager remembers of a program and that is not there while the program is muted is forgotten. Any thread.
class PipeWireMuter final : public SoundMuter, private PipeWireConnection::Member {
public:
    PipeWireMuter(PipeWireConnection& connection, SoundGuard& guard);
    ~PipeWireMuter() override;

    std::variant<std::unique_ptr<Silence>, Failure> silence() override;

    /// The sink of any instance of the program, by node name.
    static bool isMuteSink(std::string_view nodeName);
    /// Where a stream belonged before it was muted.
    struct Before {
        std::optional<PipeWireConnection::MetadataValue> target;
        bool follows = false; ///< the default, whatever device it asks for itself
    };
    using Targets = std::map<std::uint32_t, Before>; ///< by stream
    static void giveBack(PipeWireConnection& connection, Targets const& targets);
    static bool follows(PipeWireConnection const& connection, std::uint32_t stream);

private:
    class Sink;

    static std::string ownSink();
    /// To be called after streams were given targets: for the session manager each is a choice of the user's, who has
    /// then left the device that it remembers of the program. Makes it remember those devices again.
    static void keepRemembered(PipeWireConnection& connection, std::set<std::uint32_t> const& except = {});
    void connected() override;
    void disconnected() override { m_left.clear(); }
    void changed() override;
    void tick() override;

    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    int m_sinks = 0; ///< of this process
    struct Left {
        Instant since{};
        bool read = false; ///< all that is told of streams has been read since: it is no lost news
    };
    std::map<std::uint32_t, Left> m_left; ///< streams whose sink is gone with its instance
};

} // namespace lingrelay
