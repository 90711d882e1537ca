#pragma once

#include "platform/AudioOutput.h"
#include "platform/linux/pipewire/DefaultWatch.h"
#include "platform/linux/pipewire/PipeWireDevices.h"

namespace lingrelay {

/// Outputs that follow their device, or the default. Any thread.
class PipeWireOutputs final : public AudioOutputs {
public:
    PipeWireOutputs(PipeWireConnection& connection, PipeWireDevices& devices);

    std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t> device, AudioRenderer& renderer) override;
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override
    {
        return m_watch.add(std::move(changed));
    }

private:
    class Output;

    PipeWireConnection& m_connection;
    PipeWireDevices& m_devices;
    DefaultWatch m_watch;
};

} // namespace lingrelay
