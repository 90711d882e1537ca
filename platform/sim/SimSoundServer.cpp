#include "platform/sim/SimSoundServer.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <functional>
#include <numbers>
#include <utility>

namespace lingrelay {

namespace {

constexpr double kept = 60; ///< seconds of what a device has played

std::int64_t framesAt(double rate, double time) { return static_cast<std::int64_t>(std::floor(rate * time + 1e-6)); }

/// Frames of a device to frames of another format, by linear interpolation; an equal rate passes unchanged.
class Converter {
public:
    Converter(AudioFormat from, AudioFormat to) : m_from(from), m_to(to), m_last(channelsOf(from), 0.0F) { }

    void convert(std::span<float const> frames, std::vector<float>& out)
    {
        auto const width = channelsOf(m_from);
        auto const count = static_cast<double>(frames.size() / width);
        for (; m_position <= count - 1; m_position += m_from.sampleRate / m_to.sampleRate) {
            auto const whole = std::floor(m_position);
            auto const share = static_cast<float>(m_position - whole);
            auto const before = frameAt(frames, static_cast<std::int64_t>(whole));
            auto const after = share > 0 ? frameAt(frames, static_cast<std::int64_t>(whole) + 1) : before;
            for (int channel = 0; channel < m_to.channels; ++channel) {
                auto const sample = mapped(before, channel);
                out.push_back(sample + share * (mapped(after, channel) - sample));
            }
        }
        m_position -= count;
        m_last.assign(frames.end() - static_cast<std::ptrdiff_t>(width), frames.end());
    }

private:
    static std::size_t channelsOf(AudioFormat format) { return static_cast<std::size_t>(format.channels); }
    std::span<float const> frameAt(std::span<float const> frames, std::int64_t index) const
    {
        auto const width = channelsOf(m_from);
        return index < 0 ? std::span<float const>(m_last)
                         : frames.subspan(static_cast<std::size_t>(index) * width, width);
    }
    float mapped(std::span<float const> frame, int channel) const
    {
        if (m_to.channels == 1) {
            float sum = 0;
            for (auto const sample : frame)
                sum += sample;
            return sum / static_cast<float>(frame.size());
        }
        return frame[static_cast<std::size_t>(channel) % frame.size()];
    }

    AudioFormat m_from;
    AudioFormat m_to;
    double m_position = 0; ///< of the next frame, in frames of the device; the last piece's last frame is -1
    std::vector<float> m_last;
};

} // namespace

struct SimSoundServer::Slot {
    Device device;
    bool plugged = true;
    bool frozen = false;
    std::optional<Error> refusal{};
    std::vector<Signal> heard{}; ///< by channel
    std::map<Id, float> hearsPlayed{};
    std::vector<float> quantum{}; ///< played in the last quantum, mono
    std::vector<float> played{};

    AudioFormat inputFormat() const { return {device.rate, device.inputChannels}; }
};

/// An input of any kind: tells its receiver how it fares, and hands over sound only while it runs.
class SimSoundServer::Stream : public AudioInput {
public:
    Stream(SimSoundServer& server, AudioReceiver& receiver) : m_server(server), m_receiver(receiver)
    {
        m_server.m_inputs.push_back(this);
    }
    ~Stream() override
    {
        assert(!m_calling && "not in a call of its receiver");
        std::erase(m_server.m_inputs, this);
    }

    virtual std::optional<Id> device() const = 0; ///< none for the capture
    virtual std::optional<Error> fault() const = 0;
    virtual void feed(std::span<float const> frames) = 0;
    void settle()
    {
        auto const now = fault();
        if (m_told && *m_told == now.has_value())
            return;
        m_told = now.has_value();
        m_calling = true;
        if (now)
            m_receiver.failed(*now);
        else
            m_receiver.started();
        m_calling = false;
    }

protected:
    bool runs() const { return m_told && !*m_told && !fault(); }
    void deliver(std::span<float const> samples)
    {
        m_calling = true;
        m_receiver.receive(samples);
        m_calling = false;
    }

    SimSoundServer& m_server;

private:
    AudioReceiver& m_receiver;
    std::optional<bool> m_told; ///< whether it has failed
    bool m_calling = false;
};

class SimSoundServer::Input final : public Stream {
public:
    Input(SimSoundServer& server, Id device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver)
        : Stream(server, receiver)
        , m_device(device)
        , m_block(blockFrames * static_cast<std::size_t>(format.channels))
        , m_converter(server.m_slots.at(device).inputFormat(), format)
    {
    }

    std::optional<Id> device() const override { return m_device; }
    std::optional<Error> fault() const override { return m_server.fault(m_device); }
    void feed(std::span<float const> frames) override
    {
        if (!runs())
            return;
        m_converter.convert(frames, m_waiting);
        std::size_t done = 0;
        for (; m_waiting.size() - done >= m_block; done += m_block)
            deliver(std::span(m_waiting).subspan(done, m_block));
        m_waiting.erase(m_waiting.begin(), m_waiting.begin() + static_cast<std::ptrdiff_t>(done));
    }

private:
    Id m_device;
    std::size_t m_block; ///< samples
    Converter m_converter;
    std::vector<float> m_waiting;
};

class SimSoundServer::CaptureInput final : public Stream {
public:
    using Stream::Stream;
    std::optional<Id> device() const override { return {}; }
    std::optional<Error> fault() const override
    {
        return m_server.m_captureRefusal ? m_server.m_captureRefusal : m_server.fault({});
    }
    void feed(std::span<float const> samples) override
    {
        if (runs())
            deliver(samples);
    }
};

class SimSoundServer::Output final : public AudioOutput {
public:
    Output(SimSoundServer& server, Id device, AudioRenderer& renderer)
        : device(device)
        , renderer(renderer)
        , m_server(server)
        , m_rate(server.m_slots.at(device).device.rate)
    {
        m_server.m_running.push_back(this);
    }
    ~Output() override { std::erase(m_server.m_running, this); }

    double sampleRate() const override { return m_rate; }

    Id const device;
    AudioRenderer& renderer;

private:
    SimSoundServer& m_server;
    double m_rate;
};

class SimSoundServer::DeviceList final : public AudioDevices {
public:
    explicit DeviceList(SimSoundServer& server) : m_server(server) { }
    std::vector<AudioDevice> inputs() override { return m_server.list(&Device::inputChannels); }
    std::vector<AudioDevice> outputs() override { return m_server.list(&Device::outputChannels); }
    std::optional<Id> defaultInput() override { return m_server.defaultInput(); }
    std::optional<Id> defaultOutput() override { return m_server.defaultOutput(); }
    void setDefaultInput(Id device) override
    {
        if (auto const* slot = m_server.present(device); slot && slot->device.inputChannels > 0)
            m_server.setDefaultInput(device);
    }
    std::optional<Id> builtInInput() override
    {
        for (auto const& [id, name] : inputs()) {
            if (m_server.m_slots.at(id).device.builtIn)
                return id;
        }
        return {};
    }

private:
    SimSoundServer& m_server;
};

class SimSoundServer::Inputs final : public AudioInputs {
public:
    explicit Inputs(SimSoundServer& server) : m_server(server) { }
    std::optional<AudioFormat> format(std::optional<Id> device) override
    {
        auto const* slot = find(device);
        return slot ? std::optional(slot->inputFormat()) : std::nullopt;
    }
    Result<std::unique_ptr<AudioInput>> open(
        std::optional<Id> device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver) override
    {
        if (!find(device))
            return Error{.message = m_server.m_up ? "No such input" : "The sound server is gone"};
        auto const id = device ? *device : *m_server.defaultInput();
        if (auto const fault = m_server.fault(id))
            return *fault;
        auto input = std::make_unique<Input>(m_server, id, format, blockFrames, receiver);
        m_server.settle();
        return std::unique_ptr<AudioInput>(std::move(input));
    }
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override
    {
        return m_server.watch(m_server.m_inputWatchers, std::move(changed));
    }

private:
    Slot const* find(std::optional<Id> device) const
    {
        auto const id = device ? device : m_server.followed(m_server.defaultInput(), {});
        auto const* slot = id ? m_server.present(*id) : nullptr;
        return slot && slot->device.inputChannels > 0 ? slot : nullptr;
    }

    SimSoundServer& m_server;
};

class SimSoundServer::Outputs final : public AudioOutputs {
public:
    explicit Outputs(SimSoundServer& server) : m_server(server) { }
    std::unique_ptr<AudioOutput> open(std::optional<Id> device, AudioRenderer& renderer) override
    {
        auto const id
            = device ? device : m_server.followed(m_server.defaultOutput(), m_server.list(&Device::outputChannels));
        auto const* slot = id ? m_server.present(*id) : nullptr;
        if (!slot || slot->device.outputChannels == 0 || slot->refusal)
            return nullptr;
        return std::make_unique<Output>(m_server, *id, renderer);
    }
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override
    {
        return m_server.watch(m_server.m_outputWatchers, std::move(changed));
    }

private:
    SimSoundServer& m_server;
};

class SimSoundServer::Capture final : public SystemAudio {
public:
    explicit Capture(SimSoundServer& server) : m_server(server) { }
    std::unique_ptr<AudioInput> open(AudioReceiver& receiver) override
    {
        auto input = std::make_unique<CaptureInput>(m_server, receiver);
        m_server.settle();
        return input;
    }

private:
    SimSoundServer& m_server;
};

class SimSoundServer::Muter final : public SoundMuter {
public:
    explicit Muter(SimSoundServer& server) : m_server(server) { }
    std::variant<std::unique_ptr<Silence>, Failure> silence() override
    {
        assert(m_server.m_silences == 0 && "one silence at a time");
        if (m_server.muteFailure)
            return *m_server.muteFailure;
        if (!m_server.m_up)
            return Failure{Step::tap, -32};
        return std::make_unique<Holder>(m_server);
    }

private:
    class Holder final : public Silence {
    public:
        explicit Holder(SimSoundServer& server) : m_server(server) { ++m_server.m_silences; }
        ~Holder() override { --m_server.m_silences; }

    private:
        SimSoundServer& m_server;
    };

    SimSoundServer& m_server;
};

class SimSoundServer::Pair final : public VirtualMicrophone {
public:
    explicit Pair(SimSoundServer& server) : m_server(server) { }
    bool installed() const override { return m_installed; }
    bool available() const override { return m_server.pairAvailable; }
    bool install() override
    {
        if (m_installed)
            return true;
        if (!m_server.pairAvailable || m_server.pairFails)
            return false;
        m_installed = true;
        auto& scheduler = m_server.m_scheduler;
        m_server.m_pairTimer = scheduler.startTimer(scheduler.now() + m_server.pairAppears, [this] { appear(); });
        return true;
    }
    bool remove() override
    {
        if (m_installed && m_server.pairFails)
            return false;
        m_installed = false;
        m_server.m_scheduler.stopTimer(m_server.m_pairTimer);
        if (m_server.m_pair)
            m_server.unplug(*m_server.m_pair);
        return true;
    }

private:
    void appear()
    {
        if (m_server.m_pair)
            m_server.plug(*m_server.m_pair);
        else
            m_server.m_pair = m_server.add({"Lingrelay", 2, 2, 48000, false, true});
    }

    SimSoundServer& m_server;
    bool m_installed = false;
};

SimSoundServer::SimSoundServer(Scheduler& scheduler, Duration quantum)
    : m_scheduler(scheduler)
    , m_quantum(quantum)
    , m_deviceList(std::make_unique<DeviceList>(*this))
    , m_inputFace(std::make_unique<Inputs>(*this))
    , m_outputFace(std::make_unique<Outputs>(*this))
    , m_capture(std::make_unique<Capture>(*this))
    , m_muter(std::make_unique<Muter>(*this))
    , m_pairFace(std::make_unique<Pair>(*this))
{
    startTick();
}

SimSoundServer::~SimSoundServer()
{
    assert(m_inputs.empty() && m_running.empty() && "all that was handed out is gone");
    m_scheduler.stopTimer(m_timer);
    m_scheduler.stopTimer(m_pairTimer);
}

AudioDevices& SimSoundServer::devices() { return *m_deviceList; }
AudioInputs& SimSoundServer::inputs() { return *m_inputFace; }
AudioOutputs& SimSoundServer::outputs() { return *m_outputFace; }
SystemAudio& SimSoundServer::systemAudio() { return *m_capture; }
SoundMuter& SimSoundServer::muter() { return *m_muter; }
VirtualMicrophone& SimSoundServer::virtualMicrophone() { return *m_pairFace; }

SimSoundServer::Id SimSoundServer::add(Device device)
{
    auto const id = m_slots.empty() ? 1 : m_slots.rbegin()->first + 1;
    auto const channels = static_cast<std::size_t>(device.inputChannels);
    m_slots.emplace(id, Slot{.device = std::move(device), .heard = std::vector<Signal>(channels)});
    settle();
    return id;
}

void SimSoundServer::unplug(Id device)
{
    m_slots.at(device).plugged = false;
    settle();
}

void SimSoundServer::plug(Id device)
{
    m_slots.at(device).plugged = true;
    settle();
}

void SimSoundServer::setDefaultInput(Id device)
{
    m_defaultInput = device;
    settle();
}

void SimSoundServer::setDefaultOutput(Id device)
{
    m_defaultOutput = device;
    settle();
}

SimSoundServer::Signal SimSoundServer::tone(double frequency, float level)
{
    return [=](double time) { return level * static_cast<float>(std::sin(2 * std::numbers::pi * frequency * time)); };
}

SimSoundServer::Signal SimSoundServer::samples(std::vector<float> samples, double rate, double startTime)
{
    return [samples = std::move(samples), rate, startTime](double time) {
        auto const index = std::floor((time - startTime) * rate + 1e-6);
        return index >= 0 && index < static_cast<double>(samples.size()) ? samples[static_cast<std::size_t>(index)]
                                                                         : 0.0F;
    };
}

void SimSoundServer::hear(Id device, Signal signal)
{
    for (auto& channel : m_slots.at(device).heard)
        channel = signal;
}

void SimSoundServer::hear(Id device, int channel, Signal signal)
{
    m_slots.at(device).heard.at(static_cast<std::size_t>(channel)) = std::move(signal);
}

void SimSoundServer::hearPlayed(Id microphone, Id output, float gain)
{
    m_slots.at(microphone).hearsPlayed[output] = gain;
}

int SimSoundServer::play(Signal signal, std::optional<Id> device)
{
    m_programs[++m_lastKey] = {std::move(signal), device};
    return m_lastKey;
}

void SimSoundServer::end(int program) { m_programs.erase(program); }

std::optional<SimSoundServer::Id> SimSoundServer::heardOn(int program) const
{
    return m_silences > 0 ? std::nullopt : place(m_programs.at(program));
}

std::vector<float> SimSoundServer::take(Id device)
{
    auto& slot = m_slots.at(device);
    auto const limit = static_cast<std::size_t>(kept * slot.device.rate);
    if (slot.played.size() > limit)
        slot.played.erase(slot.played.begin(), slot.played.end() - static_cast<std::ptrdiff_t>(limit));
    return std::exchange(slot.played, {});
}

std::size_t SimSoundServer::outputsOn(Id device) const
{
    return static_cast<std::size_t>(std::count_if(
        m_running.begin(), m_running.end(), [device](auto const* output) { return output->device == device; }));
}

void SimSoundServer::stopServer()
{
    m_up = false;
    settle();
}

void SimSoundServer::startServer()
{
    m_up = true;
    settle();
}

void SimSoundServer::refuse(Id device, Error error)
{
    m_slots.at(device).refusal = std::move(error);
    settle();
}

void SimSoundServer::accept(Id device)
{
    m_slots.at(device).refusal.reset();
    settle();
}

void SimSoundServer::refuseCapture(Error error)
{
    m_captureRefusal = std::move(error);
    settle();
}

void SimSoundServer::acceptCapture()
{
    m_captureRefusal.reset();
    settle();
}

void SimSoundServer::freeze(Id device, bool frozen) { m_slots.at(device).frozen = frozen; }

SimSoundServer::Slot const* SimSoundServer::present(Id device) const
{
    auto const found = m_slots.find(device);
    return m_up && found != m_slots.end() && found->second.plugged ? &found->second : nullptr;
}

SimSoundServer::Slot* SimSoundServer::present(Id device)
{
    return const_cast<Slot*>(std::as_const(*this).present(device));
}

std::optional<SimSoundServer::Id> SimSoundServer::current(std::optional<Id> chosen, int Device::*channels) const
{
    if (auto const* slot = chosen ? present(*chosen) : nullptr; slot && slot->device.*channels > 0)
        return chosen;
    auto const all = list(channels);
    return all.empty() ? std::nullopt : std::optional(all.front().id);
}

std::optional<SimSoundServer::Id> SimSoundServer::followed(
    std::optional<Id> standard, std::vector<AudioDevice> const& others) const
{
    auto const real = [this](Id id) { return !AudioDevices::isVirtual({id, m_slots.at(id).device.name}); };
    if (!standard || real(*standard))
        return standard;
    auto const first = std::find_if(others.begin(), others.end(), [&](auto const& device) { return real(device.id); });
    return first == others.end() ? std::nullopt : std::optional(first->id);
}

std::optional<SimSoundServer::Id> SimSoundServer::place(Program const& program) const
{
    return program.device && present(*program.device) ? program.device : defaultOutput();
}

std::vector<AudioDevice> SimSoundServer::list(int Device::*channels) const
{
    std::vector<AudioDevice> found;
    for (auto const& [id, slot] : m_slots) {
        if (present(id) && slot.device.*channels > 0)
            found.push_back({id, slot.device.name});
    }
    return found;
}

std::optional<Error> SimSoundServer::fault(std::optional<Id> device) const
{
    if (!m_up)
        return Error{.message = "The sound server is gone"};
    if (!device)
        return {};
    if (!present(*device))
        return Error{.message = "The device is gone"};
    return m_slots.at(*device).refusal;
}

std::shared_ptr<void> SimSoundServer::watch(Watchers& watchers, std::function<void()> changed)
{
    auto const key = ++m_lastKey;
    watchers[key] = std::make_shared<std::function<void()>>(std::move(changed));
    return {nullptr, m_lifetime.whileAlive([&watchers, key](void*) { watchers.erase(key); })};
}

void SimSoundServer::tell(Watchers const& watchers)
{
    for (auto const& [key, watcher] : watchers)
        post(whileAlive(std::weak_ptr(watcher), [](std::function<void()> const& changed) { changed(); }));
}

void SimSoundServer::post(std::function<void()> job) { m_scheduler.post(m_lifetime.whileAlive(std::move(job))); }

/// The world has changed: whoever must know is told in a turn of its own.
void SimSoundServer::settle()
{
    if (auto const input = defaultInput(); input != std::exchange(m_toldInput, input))
        tell(m_inputWatchers);
    if (auto const output = defaultOutput(); output != std::exchange(m_toldOutput, output))
        tell(m_outputWatchers);
    post([this] { eachStream([](Stream& stream) { stream.settle(); }); });
}

/// A receiver may end other inputs than its own meanwhile.
void SimSoundServer::eachStream(std::function<void(Stream&)> const& call)
{
    auto const streams = m_inputs;
    for (auto* stream : streams) {
        if (std::find(m_inputs.begin(), m_inputs.end(), stream) != m_inputs.end())
            call(*stream);
    }
}

void SimSoundServer::startTick()
{
    m_timer = m_scheduler.startTimer(m_scheduler.now() + m_quantum, [this] {
        startTick();
        tick();
    });
}

void SimSoundServer::tick()
{
    for (auto& [id, slot] : m_slots) {
        slot.quantum.clear();
        if (present(id) && !slot.frozen)
            playInto(id, slot);
    }
    for (auto const& [id, slot] : m_slots) {
        if (present(id) && !slot.frozen && slot.device.inputChannels > 0)
            feedInputs(id, slot);
    }
    if (m_up && !m_captureFrozen)
        feedCapture();
    ++m_ticks;
}

/// The frames of the quantum that begins now, at a rate.
SimSoundServer::Frames SimSoundServer::frames(double rate) const
{
    auto const first = framesAt(rate, toSeconds(m_quantum * m_ticks));
    return {first, static_cast<std::size_t>(framesAt(rate, toSeconds(m_quantum * (m_ticks + 1))) - first)};
}

void SimSoundServer::playInto(Id id, Slot& slot)
{
    if (slot.device.outputChannels == 0)
        return;
    auto const [first, count] = frames(slot.device.rate);
    slot.quantum.assign(count, 0.0F);
    std::vector<float> rendered(count);
    for (auto* output : m_running) {
        if (output->device != id || slot.refusal)
            continue;
        output->renderer.render(rendered.data(), count);
        std::transform(
            slot.quantum.begin(), slot.quantum.end(), rendered.begin(), slot.quantum.begin(), std::plus<float>());
    }
    for (auto const& [key, program] : m_programs) {
        if (heardOn(key) == id)
            addSignal(program.signal, slot.device.rate, first, slot.quantum);
    }
    slot.played.insert(slot.played.end(), slot.quantum.begin(), slot.quantum.end());
    auto const limit = static_cast<std::size_t>(kept * slot.device.rate);
    if (slot.played.size() > 2 * limit)
        slot.played.erase(slot.played.begin(), slot.played.end() - static_cast<std::ptrdiff_t>(limit));
}

void SimSoundServer::feedInputs(Id id, Slot const& slot)
{
    if (std::none_of(m_inputs.begin(), m_inputs.end(), [id = id](auto const* input) { return input->device() == id; }))
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
            auto const& played = m_slots.at(output).quantum;
            for (std::size_t i = 0; i < count && !played.empty(); ++i)
                mono[i] += gain * played[i * played.size() / count];
        }
        for (std::size_t i = 0; i < count; ++i)
            interleaved[i * channels + channel] = mono[i];
    }
    eachStream([&, id = id](Stream& stream) {
        if (stream.device() == id)
            stream.feed(interleaved);
    });
}

void SimSoundServer::feedCapture()
{
    auto const [first, count] = frames(SystemAudio::sampleRate);
    std::vector<float> samples(count);
    for (auto const& [key, program] : m_programs) {
        if (m_silences > 0 || place(program))
            addSignal(program.signal, SystemAudio::sampleRate, first, samples);
    }
    eachStream([&](Stream& stream) {
        if (!stream.device())
            stream.feed(samples);
    });
}

void SimSoundServer::addSignal(Signal const& signal, double rate, std::int64_t first, std::vector<float>& samples)
{
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] += signal(static_cast<double>(first + static_cast<std::int64_t>(i)) / rate);
}

} // namespace lingrelay
