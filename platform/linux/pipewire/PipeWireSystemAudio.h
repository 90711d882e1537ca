#pragma once

#include "platform/SystemAudio.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

namespace lingrelay {

/// Captures the streams of the other programs themselves, wherever they are played, by links of its own: neither the
/// devices nor this program's voice is heard. Any thread.
class PipeWireSystemAudio final : public SystemAudio {
public:
    explicit PipeWireSystemAudio(PipeWireConnection& connection) : m_connection(connection) { }

    std::unique_ptr<AudioInput> open(AudioReceiver& receiver) override;

private:
    class Capture;

    PipeWireConnection& m_connection;
};

} // namespace lingrelay
