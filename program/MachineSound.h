#pragma once

#include "platform/AudioDevices.h"
#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"
#include "platform/SoundMuter.h"
#include "platform/SystemAudio.h"
#include "platform/VirtualMicrophone.h"

namespace lingrelay {

/// The sound of the machine as a run uses it: the real one, or none.
struct MachineSound {
    AudioDevices& devices;
    AudioInputs& inputs;
    AudioOutputs& outputs;
    SystemAudio& systemAudio;
    SoundMuter& muter;
    VirtualMicrophone& virtualMicrophone;
};

/// `sound` is a sound system that has all of them.
template <class System> MachineSound machineSound(System& sound)
{
    return {sound.devices(), sound.inputs(), sound.outputs(), sound.systemAudio(), sound.muter(),
        sound.virtualMicrophone()};
}

/// For a run from a file to files: no device, nothing to hear, nobody to silence.
class NoSound {
public:
    MachineSound parts() { return {m_devices, m_inputs, m_outputs, m_systemAudio, m_muter, m_virtualMicrophone}; }
    AudioOutputs& outputs() { return m_outputs; }

private:
    class Devices final : public AudioDevices {
        std::vector<AudioDevice> inputs() override { return {}; }
        std::vector<AudioDevice> outputs() override { return {}; }
        std::optional<std::uint32_t> defaultInput() override { return {}; }
        std::optional<std::uint32_t> defaultOutput() override { return {}; }
        void setDefaultInput(std::uint32_t) override { }
        std::optional<std::uint32_t> builtInInput() override { return {}; }
    };
    class Inputs final : public AudioInputs {
        std::optional<AudioFormat> format(std::optional<std::uint32_t>) override { return {}; }
        Result<std::unique_ptr<AudioInput>> open(
            std::optional<std::uint32_t>, AudioFormat, std::size_t, AudioReceiver&) override
        {
            return Error{Error::Kind::resourceUnavailable, "no input"};
        }
        std::shared_ptr<void> watchDefault(std::function<void()>) override { return {}; }
    };
    class Outputs final : public AudioOutputs {
        std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t>, AudioRenderer&) override { return {}; }
        std::shared_ptr<void> watchDefault(std::function<void()>) override { return {}; }
    };
    class Silent final : public SystemAudio {
        std::unique_ptr<AudioInput> open(AudioReceiver&) override { return std::make_unique<AudioInput>(); }
    };
    class Muter final : public SoundMuter {
        std::variant<std::unique_ptr<Silence>, Failure> silence() override { return std::make_unique<Silence>(); }
    };
    class Microphone final : public VirtualMicrophone {
        bool installed() const override { return false; }
        bool available() const override { return false; }
        bool install() override { return false; }
        bool remove() override { return true; }
    };

    Devices m_devices;
    Inputs m_inputs;
    Outputs m_outputs;
    Silent m_systemAudio;
    Muter m_muter;
    Microphone m_virtualMicrophone;
};

} // namespace lingrelay
