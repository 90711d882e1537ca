#pragma once

#include "platform/SoundMuter.h"
#include "platform/linux/pipewire/AbandonedStreams.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SoundGuard.h"

namespace lingrelay {

/// Silences other programs by sending their streams into a sink of this program's: when it dies, the server drops the
/// sink and the streams go elsewhere by themselves. The guard then gives each its own device back. Any thread.
class PipeWireMuter final : public SoundMuter {
public:
    PipeWireMuter(PipeWireConnection& connection, SoundGuard& guard) : m_connection(connection), m_guard(guard) { }

    std::variant<std::unique_ptr<Silence>, Failure> silence() override;

private:
    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    int m_silences = 0; ///< that have begun and not ended
    AbandonedStreams m_abandoned{m_connection, m_silences};
};

} // namespace lingrelay
