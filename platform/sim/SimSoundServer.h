#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "platform/AudioDevices.h"
#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"
#include "platform/SoundMuter.h"
#include "platform/SystemAudio.h"
#include "platform/VirtualMicrophone.h"

#include <functional>
#include <map>
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
    Duration pairAppears = seconds(0.1); ///< after its installation
    bool pairAvailable = true;
    bool pairFails = false; ///< to be installed or removed

    static Signal tone(double frequency, float level = 0.5F);
    static Signal samples(std::vector<float> samples, double rate, double startTime = 0);
    /// What reaches a microphone, in all its channels or in one, instead of what reached it before.
    void hear(Id device, Signal signal);
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
    /// How many of this program's outputs play there.
    std::size_t outputsOn(Id device) const;
    std::size_t inputsRunning() const { return m_inputs.size(); } ///< the capture of system audio too
    bool silenced() const { return m_silences > 0; }

    /// All is gone: lists are empty, nothing moves, receivers are told.
    void stopServer();
    void startServer();
    /// No input or output of the device starts, and those that run fail, until it is accepted.
    void refuse(Id device, Error error);
    void accept(Id device);
    void refuseCapture(Error error);
    void acceptCapture();
    std::optional<SoundMuter::Failure> muteFailure; ///< of the next silences
    /// The device moves no more and nobody is told.
    void freeze(Id device, bool frozen = true);
    void freezeCapture(bool frozen = true) { m_captureFrozen = frozen; }

private:
    class DeviceList;
    class Inputs;
    class Outputs;
    class Capture;
    class Muter;
    class Pair;
    class Stream;
    class Input;
    class CaptureInput;
    class Output;
    struct Slot;
    struct Program {
        Signal signal;
        std::optional<Id> device;
    };
    using Watchers = std::map<int, std::shared_ptr<std::function<void()>>>;

    void startTick();
    void tick();
    struct Frames {
        std::int64_t first;
        std::size_t count;
    };
    Frames frames(double rate) const;
    void playInto(Id id, Slot& slot);
    void feedInputs(Id id, Slot const& slot);
    void feedCapture();
    static void addSignal(Signal const& signal, double rate, std::int64_t first, std::vector<float>& samples);
    void eachStream(std::function<void(Stream&)> const& call);
    Slot* present(Id device);
    Slot const* present(Id device) const;
    std::optional<Id> current(std::optional<Id> chosen, int Device::*channels) const;
    std::optional<Id> defaultInput() const { return current(m_defaultInput, &Device::inputChannels); }
    std::optional<Id> defaultOutput() const { return current(m_defaultOutput, &Device::outputChannels); }
    /// The default, or instead of the virtual microphone the first of the others.
    std::optional<Id> followed(std::optional<Id> standard, std::vector<AudioDevice> const& others) const;
    std::optional<Id> place(Program const& program) const;
    std::vector<AudioDevice> list(int Device::*channels) const;
    std::optional<Error> fault(std::optional<Id> device) const;
    std::shared_ptr<void> watch(Watchers& watchers, std::function<void()> changed);
    void tell(Watchers const& watchers);
    void post(std::function<void()> job);
    void settle();

    Scheduler& m_scheduler;
    Duration m_quantum;
    Scheduler::TimerId m_timer = 0;
    std::int64_t m_ticks = 0;
    bool m_up = true;
    std::map<Id, Slot> m_slots;
    std::optional<Id> m_defaultInput;
    std::optional<Id> m_defaultOutput;
    std::optional<Id> m_toldInput; ///< the defaults that the watchers know
    std::optional<Id> m_toldOutput;
    Watchers m_inputWatchers;
    Watchers m_outputWatchers;
    int m_lastKey = 0; ///< of watchers and programs
    std::map<int, Program> m_programs;
    std::vector<Stream*> m_inputs;
    std::vector<Output*> m_running;
    int m_silences = 0;
    std::optional<Error> m_captureRefusal;
    bool m_captureFrozen = false;
    std::optional<Id> m_pair;
    Scheduler::TimerId m_pairTimer = 0;
    std::unique_ptr<DeviceList> m_deviceList;
    std::unique_ptr<Inputs> m_inputFace;
    std::unique_ptr<Outputs> m_outputFace;
    std::unique_ptr<Capture> m_capture;
    std::unique_ptr<Muter> m_muter;
    std::unique_ptr<Pair> m_pairFace;
    Lifetime m_lifetime;
};

} // namespace lingrelay
