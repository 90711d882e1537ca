#include "platform/sim/SimSoundServer.h"

#include "base/async/Lifetime.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>
#include <utility>

namespace lingrelay {

namespace {

constexpr double kept = 60; ///< seconds of what a device has played

std::int64_t framesAt(double rate, double time) { return static_cast<std::int64_t>(std::floor(rate * time + 1e-6)); }

/// Interleaved frames of a device with so many channels: mixed to one, or each to the one of its number.
std::vector<float> mapped(std::span<float const> frames, int from, int to)
{
    auto const width = static_cast<std::size_t>(from);
    std::vector<float> out;
    for (; frames.size() >= width; frames = frames.subspan(width)) {
        if (to == 1)
            out.push_back(std::accumulate(frames.begin(), frames.begin() + from, 0.0F) / static_cast<float>(from));
        for (int channel = 0; to > 1 && channel < to; ++channel)
            out.push_back(frames[static_cast<std::size_t>(channel % from)]);
    }
    return out;
}

/// The frames of a quantum, at a rate.
struct Frames {
    std::int64_t first;
    std::size_t count;
};

void addSignal(SimSoundServer::Signal const& signal, double rate, std::int64_t first, std::vector<float>& samples)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] += signal(static_cast<double>(first + static_cast<std::int64_t>(i)) / rate);
}

} // namespace

class SimSoundServer::Machine final : public AudioDevices,
                                      public AudioInputs,
                                      public SystemAudio,
                                      public SoundMuter,
                                      public VirtualMicrophone {
public:
    Machine(SimSoundServer& server, Scheduler& scheduler, Duration quantum)
        : m_server(server)
        , m_scheduler(scheduler)
        , m_quantum(quantum)
    {
        startTick();
    }
    ~Machine() override
    {
        assert(streams.empty() && playing.empty() && "all that was handed out is gone");
        m_scheduler.stopTimer(m_timer);
        m_scheduler.stopTimer(m_pairTimer);
    }

    struct Slot {
        Device device;
        bool plugged = true;
        std::optional<Error> refusal{};
        std::vector<Signal> heard{}; ///< by channel
        std::map<Id, float> hearsPlayed{};
        std::vector<float> quantum{}; ///< played in the last quantum, mono
        std::vector<float> played{};

        AudioFormat inputFormat() const { return {device.rate, device.inputChannels}; }
    };
    struct Program {
        Signal signal;
        std::optional<Id> device;
    };
    using Watchers = std::map<int, std::shared_ptr<std::function<void()>>>;
    class Stream;
    class Output;

    /// Beside the inputs, whose watcher has the same name.
    struct Outputs final : AudioOutputs {
        explicit Outputs(Machine& owner) : machine(owner) { }
        std::unique_ptr<AudioOutput> open(std::optional<Id> device, AudioRenderer& renderer) override;
        std::shared_ptr<void> watchDefault(std::function<void()> changed) override
        {
            return machine.watch(machine.m_outputWatchers, std::move(changed));
        }

        Machine& machine;
    };

    // AudioDevices
    std::vector<AudioDevice> inputs() override { return list(&Device::inputChannels); }
    std::vector<AudioDevice> outputs() override { return list(&Device::outputChannels); }
    std::optional<Id> defaultInput() override { return current(chosenInput, &Device::inputChannels); }
    std::optional<Id> defaultOutput() override { return current(chosenOutput, &Device::outputChannels); }
    void setDefaultInput(Id device) override
    {
        if (auto const* slot = present(device); slot && slot->device.inputChannels > 0)
            m_server.setDefaultInput(device);
    }
    std::optional<Id> builtInInput() override
    {
        for (auto const& [id, name] : inputs()) {
            if (slots.at(id).device.builtIn)
                return id;
        }
        return {};
    }

    // AudioInputs
    std::optional<AudioFormat> format(std::optional<Id> device) override
    {
        auto const id = input(device);
        return id ? std::optional(slots.at(*id).inputFormat()) : std::nullopt;
    }
    Result<std::unique_ptr<AudioInput>> open(
        std::optional<Id> device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver) override;
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override
    {
        return watch(m_inputWatchers, std::move(changed));
    }

    // SystemAudio
    std::unique_ptr<AudioInput> open(AudioReceiver& receiver) override;

    // SoundMuter
    std::variant<std::unique_ptr<Silence>, Failure> silence() override
    {
        assert(silences == 0 && "one silence at a time");
        if (m_server.muteFailure)
            return *m_server.muteFailure;
        if (!up)
            return Failure{Step::tap, -32};
        class Holder final : public Silence {
        public:
            explicit Holder(int& silences) : m_silences(++silences) { }
            ~Holder() override { --m_silences; }

        private:
            int& m_silences;
        };
        return std::make_unique<Holder>(silences);
    }

    // VirtualMicrophone
    bool installed() const override { return m_installed; }
    bool available() const override { return true; }
    bool install() override
    {
        if (!std::exchange(m_installed, true))
            m_pairTimer = m_scheduler.startTimer(m_scheduler.now() + pairAppears, [this] { pairAppeared(); });
        return true;
    }
    bool remove() override
    {
        m_installed = false;
        m_scheduler.stopTimer(m_pairTimer);
        if (m_pair)
            m_server.unplug(*m_pair);
        return true;
    }

    Slot const* present(Id device) const
    {
        auto const found = slots.find(device);
        return up && found != slots.end() && found->second.plugged ? &found->second : nullptr;
    }
    std::optional<Error> fault(std::optional<Id> device) const
    {
        if (!up)
            return Error{.message = "The sound server is gone"};
        if (!device)
            return captureRefusal;
        return present(*device) ? slots.at(*device).refusal : Error{.message = "The device is gone"};
    }
    /// Where the program plays.
    std::optional<Id> place(Program const& program)
    {
        return program.device && present(*program.device) ? program.device : defaultOutput();
    }
    /// The world has changed: whoever must know is told in a turn of its own.
    void settle();
    template <class Part, class Value> void change(Part& part, Value value)
    {
        part = std::move(value);
        settle();
    }

    bool up = true;
    std::map<Id, Slot> slots;
    std::optional<Id> chosenInput;
    std::optional<Id> chosenOutput;
    int lastKey = 0; ///< of watchers and programs
    std::map<int, Program> programs;
    std::vector<Stream*> streams;
    std::vector<Output*> playing;
    int silences = 0;
    std::optional<Error> captureRefusal;
    bool captureFrozen = false;
    Outputs outputFace{*this};

private:
    static constexpr Duration pairAppears = std::chrono::milliseconds(100); ///< after its installation

    std::optional<Id> current(std::optional<Id> chosen, int Device::*channels) const
    {
        if (auto const* slot = chosen ? present(*chosen) : nullptr; slot && slot->device.*channels > 0)
            return chosen;
        auto const all = list(channels);
        return all.empty() ? std::nullopt : std::optional(all.front().id);
    }
    std::vector<AudioDevice> list(int Device::*channels) const
    {
        std::vector<AudioDevice> found;
        for (auto const& [id, slot] : slots) {
            if (present(id) && slot.device.*channels > 0)
                found.push_back({id, slot.device.name});
        }
        return found;
    }
    /// The default, or instead of the virtual microphone the first of the others.
    std::optional<Id> followed(std::optional<Id> standard, std::vector<AudioDevice> const& others) const
    {
        auto const real = [this](Id id) { return !AudioDevices::isVirtual({id, slots.at(id).device.name}); };
        if (!standard || real(*standard))
            return standard;
        auto const first
            = std::find_if(others.begin(), others.end(), [&](auto const& device) { return real(device.id); });
        return first == others.end() ? std::nullopt : std::optional(first->id);
    }
    /// That input, or the default one; nothing when it is not there.
    std::optional<Id> input(std::optional<Id> device)
    {
        auto const id = device ? device : followed(defaultInput(), {});
        auto const* slot = id ? present(*id) : nullptr;
        return slot && slot->device.inputChannels > 0 ? id : std::nullopt;
    }
    void pairAppeared()
    {
        if (m_pair)
            m_server.plug(*m_pair);
        else
            m_pair = m_server.add({"Lingrelay", 2, 2, 48000, false, true});
    }
    std::shared_ptr<void> watch(Watchers& watchers, std::function<void()> changed)
    {
        auto const key = ++lastKey;
        watchers[key] = std::make_shared<std::function<void()>>(std::move(changed));
        return {nullptr, m_lifetime.whileAlive([&watchers, key](void*) { watchers.erase(key); })};
    }
    void tell(Watchers const& watchers)
    {
        for (auto const& [key, watcher] : watchers)
            post(whileAlive(std::weak_ptr(watcher), [](std::function<void()> const& changed) { changed(); }));
    }
    void post(std::function<void()> job) { m_scheduler.post(m_lifetime.whileAlive(std::move(job))); }
    void eachStream(std::function<void(Stream&)> const& call);
    void startTick()
    {
        m_timer = m_scheduler.startTimer(m_scheduler.now() + m_quantum, [this] {
            startTick();
            tick();
        });
    }
    void tick();
    Frames frames(double rate) const
    {
        auto const first = framesAt(rate, toSeconds(m_quantum * m_ticks));
        return {first, static_cast<std::size_t>(framesAt(rate, toSeconds(m_quantum * (m_ticks + 1))) - first)};
    }
    void playInto(Id id, Slot& slot);
    void feedInputs(Id id, Slot const& slot);
    void feedCapture();

    SimSoundServer& m_server;
    Scheduler& m_scheduler;
    Duration m_quantum;
    Scheduler::TimerId m_timer = 0;
    std::int64_t m_ticks = 0;
    std::optional<Id> m_toldInput; ///< the defaults that the watchers know
    std::optional<Id> m_toldOutput;
    Watchers m_inputWatchers;
    Watchers m_outputWatchers;
    std::optional<Id> m_pair;
    bool m_installed = false;
    Scheduler::TimerId m_pairTimer = 0;
    Lifetime m_lifetime;
};

/// An input, or the capture, which has no device: tells its receiver how it fares, and hands over sound only while it
/// runs.
class SimSoundServer::Machine::Stream final : public AudioInput {
public:
    Stream(Machine& machine, std::optional<Id> id, AudioFormat from, AudioFormat to, std::size_t blockFrames,
        AudioReceiver& receiver)
        : device(id)
        , m_machine(machine)
        , m_receiver(receiver)
        , m_from(from)
        , m_to(to)
        , m_block(blockFrames * static_cast<std::size_t>(to.channels))
    {
        assert(from.sampleRate == to.sampleRate && "an input has its device's rate");
        m_machine.streams.push_back(this);
        m_machine.settle();
    }
    ~Stream() override
    {
        assert(!m_calling && "not in a call of its receiver");
        std::erase(m_machine.streams, this);
    }

    void settle()
    {
        auto const now = m_machine.fault(device);
        if (m_failed == now.has_value())
            return;
        m_failed = now.has_value();
        call([&] { now ? m_receiver.failed(*now) : m_receiver.started(); });
    }
    void feed(std::span<float const> frames)
    {
        if (m_failed.value_or(true) || m_machine.fault(device))
            return;
        auto const news = mapped(frames, m_from.channels, m_to.channels);
        m_waiting.insert(m_waiting.end(), news.begin(), news.end());
        std::size_t done = 0;
        for (; m_waiting.size() - done >= m_block; done += m_block)
            call([&] { m_receiver.receive(std::span(m_waiting).subspan(done, m_block)); });
        m_waiting.erase(m_waiting.begin(), m_waiting.begin() + static_cast<std::ptrdiff_t>(done));
    }

    std::optional<Id> const device;

private:
    template <class F> void call(F job)
    {
        m_calling = true;
        job();
        m_calling = false;
    }

    Machine& m_machine;
    AudioReceiver& m_receiver;
    std::optional<bool> m_failed; ///< as the receiver has been told
    bool m_calling = false;
    AudioFormat m_from;
    AudioFormat m_to;
    std::size_t m_block; ///< samples
    std::vector<float> m_waiting;
};

class SimSoundServer::Machine::Output final : public AudioOutput {
public:
    Output(Machine& machine, Id id, AudioRenderer& sound) : device(id), renderer(sound), m_machine(machine)
    {
        m_machine.playing.push_back(this);
    }
    ~Output() override { std::erase(m_machine.playing, this); }

    double sampleRate() const override { return m_machine.slots.at(device).device.rate; }

    Id const device;
    AudioRenderer& renderer;

private:
    Machine& m_machine;
};

Result<std::unique_ptr<AudioInput>> SimSoundServer::Machine::open(
    std::optional<Id> device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver)
{
    auto const id = input(device);
    if (!id)
        return Error{.message = up ? "No such input" : "The sound server is gone"};
    if (auto const fault = this->fault(id))
        return *fault;
    return std::unique_ptr<AudioInput>(
        std::make_unique<Stream>(*this, id, slots.at(*id).inputFormat(), format, blockFrames, receiver));
}

std::unique_ptr<AudioInput> SimSoundServer::Machine::open(AudioReceiver& receiver)
{
    AudioFormat const format{SystemAudio::sampleRate, 1};
    auto const block = static_cast<std::size_t>(framesAt(format.sampleRate, toSeconds(m_quantum)));
    return std::make_unique<Stream>(*this, std::nullopt, format, format, block, receiver);
}

std::unique_ptr<AudioOutput> SimSoundServer::Machine::Outputs::open(std::optional<Id> device, AudioRenderer& renderer)
{
    auto const id = device ? device : machine.followed(machine.defaultOutput(), machine.outputs());
    auto const* slot = id ? machine.present(*id) : nullptr;
    if (!slot || slot->device.outputChannels == 0 || slot->refusal)
        return nullptr;
    return std::make_unique<Output>(machine, *id, renderer);
}

void SimSoundServer::Machine::settle()
{
    if (auto const now = defaultInput(); now != std::exchange(m_toldInput, now))
        tell(m_inputWatchers);
    if (auto const now = defaultOutput(); now != std::exchange(m_toldOutput, now))
        tell(m_outputWatchers);
    post([this] { eachStream([](Stream& stream) { stream.settle(); }); });
}

/// A receiver may end other inputs than its own meanwhile.
void SimSoundServer::Machine::eachStream(std::function<void(Stream&)> const& call)
{
    auto const all = streams;
    for (auto* stream : all) {
        if (std::find(streams.begin(), streams.end(), stream) != streams.end())
            call(*stream);
    }
}

void SimSoundServer::Machine::tick()
{
    for (auto& [id, slot] : slots) {
        slot.quantum.clear();
        if (present(id) && slot.device.outputChannels > 0)
            playInto(id, slot);
    }
    for (auto const& [id, slot] : slots) {
        if (present(id) && slot.device.inputChannels > 0)
            feedInputs(id, slot);
    }
    if (up && !captureFrozen)
        feedCapture();
    ++m_ticks;
}

void SimSoundServer::Machine::playInto(Id id, Slot& slot)
{
    auto const [first, count] = frames(slot.device.rate);
    slot.quantum.assign(count, 0.0F);
    std::vector<float> rendered(count);
    for (auto* output : playing) {
        if (output->device != id || slot.refusal)
            continue;
        output->renderer.render(rendered.data(), count);
        std::transform(
            slot.quantum.begin(), slot.quantum.end(), rendered.begin(), slot.quantum.begin(), std::plus<float>());
    }
    for (auto const& [key, program] : programs) {
        if (silences == 0 && place(program) == id)
            addSignal(program.signal, slot.device.rate, first, slot.quantum);
    }
    slot.played.insert(slot.played.end(), slot.quantum.begin(), slot.quantum.end());
    if (auto const limit = static_cast<std::size_t>(kept * slot.device.rate); slot.played.size() > 2 * limit)
        slot.played.erase(slot.played.begin(), slot.played.end() - static_cast<std::ptrdiff_t>(limit));
}

void SimSoundServer::Machine::feedInputs(Id id, Slot const& slot)
{
    if (std::none_of(streams.begin(), streams.end(), [id](auto const* stream) { return stream->device == id; }))
        return;
    auto const [first, count] = frames(slot.device.rate);
    auto const channels = static_cast<std::size_t>(slot.device.inputChannels);
    std::vector<float> interleaved(count * channels);
    for (std::size_t channel = 0; channel < channels; ++channel) {
        std::vector<float> mono(count);
        if (slot.device.pipe)
            mono = slot.quantum;
        if (slot.heard[channel])
            addSignal(slot.heard[channel], slot.device.rate, first, mono);
        for (auto const& [output, gain] : slot.hearsPlayed) {
            auto const& played = slots.at(output).quantum;
            for (std::size_t i = 0; i < count && !played.empty(); ++i)
                mono[i] += gain * played[i * played.size() / count];
        }
        for (std::size_t i = 0; i < count; ++i)
            interleaved[i * channels + channel] = mono[i];
    }
    eachStream([&](Stream& stream) {
        if (stream.device == id)
            stream.feed(interleaved);
    });
}

void SimSoundServer::Machine::feedCapture()
{
    auto const [first, count] = frames(SystemAudio::sampleRate);
    std::vector<float> samples(count);
    for (auto const& [key, program] : programs) {
        if (silences > 0 || place(program))
            addSignal(program.signal, SystemAudio::sampleRate, first, samples);
    }
    eachStream([&](Stream& stream) {
        if (!stream.device)
            stream.feed(samples);
    });
}

SimSoundServer::SimSoundServer(Scheduler& scheduler, Duration quantum)
    : m_machine(std::make_unique<Machine>(*this, scheduler, quantum))
{
}

SimSoundServer::~SimSoundServer() = default;

AudioDevices& SimSoundServer::devices() { return *m_machine; }
AudioInputs& SimSoundServer::inputs() { return *m_machine; }
AudioOutputs& SimSoundServer::outputs() { return m_machine->outputFace; }
SystemAudio& SimSoundServer::systemAudio() { return *m_machine; }
SoundMuter& SimSoundServer::muter() { return *m_machine; }
VirtualMicrophone& SimSoundServer::virtualMicrophone() { return *m_machine; }

SimSoundServer::Id SimSoundServer::add(Device device)
{
    auto& slots = m_machine->slots;
    auto const id = slots.empty() ? 1 : slots.rbegin()->first + 1;
    auto const channels = static_cast<std::size_t>(device.inputChannels);
    slots.emplace(id, Machine::Slot{.device = std::move(device), .heard = std::vector<Signal>(channels)});
    m_machine->settle();
    return id;
}

void SimSoundServer::unplug(Id device) { m_machine->change(m_machine->slots.at(device).plugged, false); }
void SimSoundServer::plug(Id device) { m_machine->change(m_machine->slots.at(device).plugged, true); }
void SimSoundServer::setDefaultInput(Id device) { m_machine->change(m_machine->chosenInput, device); }
void SimSoundServer::setDefaultOutput(Id device) { m_machine->change(m_machine->chosenOutput, device); }

SimSoundServer::Signal SimSoundServer::tone(double frequency, float level)
{
    return [=](double time) { return level * static_cast<float>(std::sin(2 * std::numbers::pi * frequency * time)); };
}

void SimSoundServer::hear(Id device, Signal const& signal)
{
    for (auto& channel : m_machine->slots.at(device).heard)
        channel = signal;
}

void SimSoundServer::hear(Id device, int channel, Signal signal)
{
    m_machine->slots.at(device).heard.at(static_cast<std::size_t>(channel)) = std::move(signal);
}

void SimSoundServer::hearPlayed(Id microphone, Id output, float gain)
{
    m_machine->slots.at(microphone).hearsPlayed[output] = gain;
}

int SimSoundServer::play(Signal signal, std::optional<Id> device)
{
    m_machine->programs[++m_machine->lastKey] = {std::move(signal), device};
    return m_machine->lastKey;
}

void SimSoundServer::end(int program) { m_machine->programs.erase(program); }

std::optional<SimSoundServer::Id> SimSoundServer::heardOn(int program) const
{
    return silenced() ? std::nullopt : m_machine->place(m_machine->programs.at(program));
}

std::vector<float> SimSoundServer::take(Id device)
{
    auto& slot = m_machine->slots.at(device);
    auto const limit = static_cast<std::size_t>(kept * slot.device.rate);
    if (slot.played.size() > limit)
        slot.played.erase(slot.played.begin(), slot.played.end() - static_cast<std::ptrdiff_t>(limit));
    return std::exchange(slot.played, {});
}

std::size_t SimSoundServer::inputsRunning() const { return m_machine->streams.size(); }
bool SimSoundServer::silenced() const { return m_machine->silences > 0; }

void SimSoundServer::stopServer() { m_machine->change(m_machine->up, false); }
void SimSoundServer::startServer() { m_machine->change(m_machine->up, true); }
void SimSoundServer::refuse(Id device, Error error) { m_machine->change(m_machine->slots.at(device).refusal, error); }
void SimSoundServer::accept(Id device) { m_machine->change(m_machine->slots.at(device).refusal, std::nullopt); }
void SimSoundServer::refuseCapture(Error error) { m_machine->change(m_machine->captureRefusal, error); }
void SimSoundServer::acceptCapture() { m_machine->change(m_machine->captureRefusal, std::nullopt); }
void SimSoundServer::freezeCapture(bool frozen) { m_machine->captureFrozen = frozen; }

} // namespace lingrelay
