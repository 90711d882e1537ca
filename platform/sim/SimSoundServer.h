#pragma once

#include "base/async/Scheduler.h"
#include "platform/AudioDevices.h"
#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"
#include "platform/SoundMuter.h"
#include "platform/SystemAudio.h"
#include "platform/VirtualMicrophone.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// The whole sound of a machine, all interfaces on one world: what is played is mixed, can be heard, captured and
/// silenced. It moves by a quantum at a time on the scheduler handed in, where it also calls receivers, renderers and
/// watchers. One thread; outlives all that it handed out.
class SimSoundServer {
public:
    using Id = std::uint32_t;
    /// A sample for each moment, in seconds since the server was made.
    using Signal = std::function<float(double time)>;

    explicit SimSoundServer(Scheduler& scheduler, Duration quantum = seconds(0.01));
    ~SimSoundServer();

    AudioDevices& devices();
    AudioInputs& inputs();
    AudioOutputs& outputs();
    SystemAudio& systemAudio();
    SoundMuter& muter();
    VirtualMicrophone& virtualMicrophone();

    struct Device {
        std::string name;
        int inputChannels = 0;
        int outputChannels = 0;
        double rate = 48000;
        bool builtIn = false;
        bool pipe = false; ///< what is played comes out of its input
    };
    /// Ids count from 1. Without a default of the user's, the first device that is there is it.
    Id add(Device device);
    void unplug(Id device);
    void plug(Id device);
    void setDefaultInput(Id device);
    void setDefaultOutput(Id device);

    static Signal tone(double frequency, float level = 0.5F);
    /// What reaches a microphone, in all its channels or in one, instead of what reached it before.
    void hear(Id device, Signal const& signal);
    void hear(Id device, int channel, Signal signal);
    /// The microphone hears that device play, with that gain, besides all else.
    void hearPlayed(Id microphone, Id output, float gain);

    /// Another program plays; without a device, or when its own is gone, on the default.
    int play(Signal signal, std::optional<Id> device = {});
    void end(int program);
    /// Where that program is heard now; nowhere while it is silenced.
    std::optional<Id> heardOn(int program) const;

    /// What the device has played since the last call, mono at its rate; of more than a minute the last.
    std::vector<float> take(Id device);
    std::size_t inputsRunning() const; ///< the capture of system audio too
    bool silenced() const;

    /// All is gone: lists are empty, nothing moves, receivers are told.
    void stopServer();
    void startServer();
    /// No input or output of the device starts, and those that run fail, until it is accepted.
    void refuse(Id device, Error error);
    void accept(Id device);
    void refuseCapture(Error error);
    void acceptCapture();
    std::optional<SoundMuter::Failure> muteFailure; ///< of the next silences
    /// The capture moves no more, and nobody is told.
    void freezeCapture(bool frozen = true);

private:
    class Machine;
    std::unique_ptr<Machine> m_machine;
};

} // namespace lingrelay
