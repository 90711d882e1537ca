#pragma once

#include "program/MachineSound.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// A machine with speakers (the default) and a headset, two microphones (the first is the default and built in) and
/// an interface for both directions; and the world around it. Devices are meant by the names that users see.
class AudioMachine {
public:
    static constexpr char const* speakers = "Lab Speakers";
    static constexpr char const* headset = "Lab Headset";
    static constexpr char const* microphone = "Lab Microphone";
    static constexpr char const* secondMicrophone = "Lab Second Microphone";
    static constexpr char const* duplex = "Lab Interface";

    virtual ~AudioMachine() = default;

    virtual MachineSound sound() = 0; ///< what is tested
    AudioDevices& devices() { return sound().devices; }
    AudioInputs& inputs() { return sound().inputs; }
    AudioOutputs& outputs() { return sound().outputs; }
    SystemAudio& systemAudio() { return sound().systemAudio; }
    SoundMuter& muter() { return sound().muter; }
    VirtualMicrophone& virtualMicrophone() { return sound().virtualMicrophone; }

    /// Lets time pass until it is so.
    virtual bool until(std::function<bool()> const& condition, double limit = 8) = 0;
    void wait(double length)
    {
        until([] { return false; }, length);
    }

    /// Another program plays at level 0.5, on that device or the default, until the token is gone.
    virtual std::shared_ptr<void> play(double frequency, std::string const& device = "") = 0;
    /// A microphone hears a tone at level 0.5 while the token lives.
    virtual std::shared_ptr<void> sing(double frequency, std::string const& microphone) = 0;
    /// How loud a tone is on an output; the first call begins to listen.
    virtual std::optional<double> played(double frequency, std::string const& output) = 0;
    virtual void setDefaultOutput(std::string const& device) = 0;
    virtual void unplug(std::string const& device) = 0; ///< of the outputs
    virtual void plug(std::string const& device) = 0;
    virtual void stopServer() = 0;
    virtual void startServer() = 0;

    bool hears(double frequency, double level, std::string const& output)
    {
        return until([&] {
            auto const now = played(frequency, output);
            return now && std::abs(*now - level) < 0.02 + level / 10;
        });
    }
    /// A tone falls silent on an output and stays so for that time.
    bool staysSilent(double frequency, std::string const& output, double length)
    {
        return hears(frequency, 0, output)
            && !until(
                [&] {
                    auto const now = played(frequency, output);
                    return now && *now > 0.02;
                },
                length);
    }
    /// The device's id among the inputs or outputs of the moment; 0 when it is not there.
    std::uint32_t input(std::string const& name) { return find(devices().inputs(), name); }
    std::uint32_t output(std::string const& name) { return find(devices().outputs(), name); }

    static std::unique_ptr<AudioMachine> makePipeWire();
    static std::unique_ptr<AudioMachine> makeSimulated();

private:
    static std::uint32_t find(std::vector<AudioDevice> const& list, std::string const& name)
    {
        for (auto const& device : list) {
            if (device.name == name)
                return device.id;
        }
        return 0;
    }
};

} // namespace lingrelay
