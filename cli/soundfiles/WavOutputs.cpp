#include "cli/soundfiles/WavOutputs.h"

#include <algorithm>
#include <cmath>

namespace lingrelay {

namespace {

/// Each wakes the processor. Far less than what a clause has buffered when it begins.
constexpr Duration tickTime = seconds(0.1);
constexpr std::size_t mostAtOnce = 4800;

} // namespace

class WavOutputs::Output final : public AudioOutput {
public:
    Output(WavOutputs& owner, AudioRenderer& renderer) : m_owner(owner), m_renderer(renderer) { }
    ~Output() override { m_owner.close(m_renderer); }

    double sampleRate() const override { return static_cast<double>(rate); }

private:
    WavOutputs& m_owner;
    AudioRenderer& m_renderer;
};

WavOutputs::WavOutputs(Scheduler& scheduler, std::optional<WavFile> file, Pace pace)
    : m_scheduler(scheduler)
    , m_pace(pace)
    , m_file(std::move(file))
{
}

WavOutputs::~WavOutputs() { finish(); }

void WavOutputs::begin()
{
    std::lock_guard const lock(m_mutex);
    if (!m_began)
        m_began = m_scheduler.now();
}

std::unique_ptr<AudioOutput> WavOutputs::open(std::optional<std::uint32_t>, AudioRenderer& renderer)
{
    std::lock_guard const lock(m_mutex);
    if (m_pace == Pace::realtime)
        pullTo(heard()); // silence up to now
    m_renderer = &renderer;
    wake();
    return std::make_unique<Output>(*this, renderer);
}

std::shared_ptr<void> WavOutputs::watchDefault(std::function<void()>) { return {}; }

void WavOutputs::close(AudioRenderer& renderer)
{
    std::lock_guard const lock(m_mutex);
    if (m_renderer != &renderer)
        return;
    m_renderer = nullptr;
    m_scheduler.stopTimer(std::exchange(m_timer, 0));
}

void WavOutputs::wake()
{
    if (m_finished)
        return;
    m_scheduler.stopTimer(m_timer);
    m_timer = m_scheduler.startTimer(nextBeat(m_scheduler.now(), tickTime), m_lifetime.whileAlive([this] { tick(); }));
}

void WavOutputs::tick()
{
    auto const queued = queuedSeconds ? queuedSeconds() : 0;
    std::lock_guard const lock(m_mutex);
    if (!m_renderer || m_finished)
        return;
    auto const target = m_pace == Pace::realtime
        ? heard()
        : m_pulled + static_cast<std::int64_t>(std::llround(queued * static_cast<double>(rate)));
    pullTo(target);
    wake();
}

/// Samples that a listener has heard since the beginning.
std::int64_t WavOutputs::heard() const
{
    if (!m_began)
        return 0;
    using Samples = std::chrono::duration<std::int64_t, std::ratio<1, rate>>;
    return std::chrono::floor<Samples>(m_scheduler.now() - *m_began).count();
}

void WavOutputs::pullTo(std::int64_t samples)
{
    if (!m_renderer) {
        if (m_file && samples > m_pulled)
            m_file->writeSilence(samples - m_pulled);
        m_pulled = std::max(m_pulled, samples);
        return;
    }
    while (m_pulled < samples) {
        m_buffer.resize(std::min(mostAtOnce, static_cast<std::size_t>(samples - m_pulled)));
        m_renderer->render(m_buffer.data(), m_buffer.size());
        if (m_file)
            m_file->write(m_buffer);
        m_pulled += static_cast<std::int64_t>(m_buffer.size());
    }
}

std::optional<Error> WavOutputs::finish()
{
    std::lock_guard const lock(m_mutex);
    if (m_finished)
        return {};
    m_finished = true;
    m_lifetime.end();
    m_scheduler.stopTimer(std::exchange(m_timer, 0));
    if (m_pace == Pace::realtime)
        pullTo(heard());
    m_renderer = nullptr;
    return m_file ? m_file->finish() : std::nullopt;
}

} // namespace lingrelay
