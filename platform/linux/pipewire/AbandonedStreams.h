#pragma once

#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

#include <map>

namespace lingrelay {

/// Gives back streams that an instance of the program had silenced which is gone, if its guard does not. Any thread.
class AbandonedStreams final : private PipeWireConnection::Member {
public:
    /// `silences` counts those of this process.
    AbandonedStreams(PipeWireConnection& connection, int const& silences);
    ~AbandonedStreams();
    AbandonedStreams(AbandonedStreams const&) = delete;
    AbandonedStreams& operator=(AbandonedStreams const&) = delete;

private:
    void connected() override { changed(); }
    void disconnected() override { m_since.clear(); }
    void changed() override;
    void tick() override;

    PipeWireConnection& m_connection;
    int const& m_silences;
    std::map<std::uint32_t, Instant> m_since; ///< by stream whose sink is gone with its instance
};

} // namespace lingrelay
