#pragma once

#include "platform/AudioInput.h"
#include "platform/linux/pipewire/DefaultWatch.h"
#include "platform/linux/pipewire/PipeWireDevices.h"

namespace lingrelay {

/// Inputs that follow their device, or the default; an output's id gives what is played there. Any thread.
class PipeWireInputs final : public AudioInputs {
public:
    PipeWireInputs(PipeWireConnection& connection, PipeWireDevices& devices);

    std::optional<AudioFormat> format(std::optional<std::uint32_t> device) override;
    Result<std::unique_ptr<AudioInput>> open(std::optional<std::uint32_t> device, AudioFormat format,
        std::size_t blockFrames, AudioReceiver& receiver) override;
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override
    {
        return m_watch.add(std::move(changed));
    }

private:
    class Input;

    PipeWireConnection& m_connection;
    PipeWireDevices& m_devices;
    DefaultWatch m_watch;
};

} // namespace lingrelay
