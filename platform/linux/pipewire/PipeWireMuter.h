#pragma once

#include "platform/SoundMuter.h"
#include "platform/linux/pipewire/PipeWireConnection.h"
#include "platform/linux/pipewire/SoundGuard.h"

namespace lingrelay {

/// Silences other programs by sending their streams into a sink of this program's: when it dies, the server drops the
/// sink and the streams go elsewhere by themselves. The guard then gives each its own device back. Any thread.
class PipeWireMuter final : public SoundMuter, private PipeWireConnection::Member {
public:
    PipeWireMuter(PipeWireConnection& connection, SoundGuard& guard);
    ~PipeWireMuter() override;

    std::variant<std::unique_ptr<Silence>, Failure> silence() override;

    /// The sink of any instance of the program, by node name.
    static bool isMuteSink(std::string_view nodeName);

private:
    class Sink;

    void connected() override;
    void disconnected() override { m_checked = false; }
    void changed() override;

    PipeWireConnection& m_connection;
    SoundGuard& m_guard;
    bool m_checked = false; ///< what dead instances left has been cleared
};

} // namespace lingrelay
