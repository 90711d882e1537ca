#include "platform/sim/SimAudio.h"

#include <algorithm>

namespace lingrelay {

class SimAudioOutputs::Output final : public AudioOutput {
public:
    Output(SimAudioOutputs& outputs, std::uint32_t device, double rate, AudioRenderer& renderer)
        : device(device)
        , renderer(renderer)
        , m_outputs(outputs)
        , m_rate(rate)
    {
        m_outputs.m_running.push_back(this);
    }
    ~Output() override { std::erase(m_outputs.m_running, this); }

    double sampleRate() const override { return m_rate; }

    std::uint32_t const device;
    AudioRenderer& renderer;

private:
    SimAudioOutputs& m_outputs;
    double m_rate;
};

std::unique_ptr<AudioOutput> SimAudioOutputs::open(std::optional<std::uint32_t> device, AudioRenderer& renderer)
{
    auto const found = rates.find(device.value_or(defaultDevice));
    if (found == rates.end())
        return nullptr;
    return std::make_unique<Output>(*this, found->first, found->second, renderer);
}

std::shared_ptr<void> SimAudioOutputs::watchDefault(std::function<void()> changed)
{
    auto const id = ++m_lastWatcher;
    m_watchers[id] = std::move(changed);
    return {nullptr, [this, id](void*) { m_watchers.erase(id); }};
}

void SimAudioOutputs::changeDefault(std::uint32_t device)
{
    defaultDevice = device;
    auto const watchers = m_watchers;
    for (auto const& [id, changed] : watchers)
        changed();
}

std::uint32_t SimAudioOutputs::runningDevice() const { return m_running.empty() ? 0 : m_running.back()->device; }

std::vector<float> SimAudioOutputs::pull(std::size_t frames)
{
    std::vector<float> samples(frames, 0.0F);
    if (!m_running.empty())
        m_running.back()->renderer.render(samples.data(), frames);
    return samples;
}

void SimAudioOutputs::runOn(Scheduler& scheduler, Duration quantum)
{
    scheduler.startTimer(scheduler.now() + quantum, [this, &scheduler, quantum] {
        for (auto* output : m_running) {
            std::vector<float> samples(static_cast<std::size_t>(output->sampleRate() * toSeconds(quantum)));
            output->renderer.render(samples.data(), samples.size());
        }
        runOn(scheduler, quantum);
    });
}

} // namespace lingrelay
