#include "speech/TTSPlayer.h"

#include "audio/EchoGuard.h"
#include "base/async/Lifetime.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

namespace lingrelay {

namespace {

constexpr double keptWhenBehind = 8.0; ///< seconds
constexpr float decay = 0.98F;
constexpr float inaudible = 0.00001F;
constexpr Duration watchInterval = seconds(0.1);
/// An output that asks for nothing is slow to begin, and after this time its device is away.
constexpr Duration awayAfter = seconds(2.0);

/// 5 milliseconds, at the least 48 samples.
int rampLength(double rate) { return std::max(static_cast<int>(rate / 200), 48); }

} // namespace

std::shared_ptr<TTSPlayer> TTSPlayer::create(AudioOutputs& outputs, Scheduler& background, Scheduler& reports)
{
    std::shared_ptr<TTSPlayer> player(new TTSPlayer(outputs, reports));
    // Posted: the system may tell while it holds what opening an output needs.
    auto const changed = whileAlive(std::weak_ptr(player), [](TTSPlayer& self) {
        if (!self.device() && self.hasOutput())
            self.rebuild();
    });
    player->m_defaultWatch = outputs.watchDefault([changed, &background] { background.post(changed); });
    return player;
}

TTSPlayer::TTSPlayer(AudioOutputs& outputs, Scheduler& reports)
    : m_outputs(outputs)
    , m_reports(reports)
    , m_reading(m_blocks.end())
{
}

TTSPlayer::~TTSPlayer()
{
    m_defaultWatch.reset();
    teardown();
}

void TTSPlayer::setDevice(std::optional<std::uint32_t> device)
{
    std::lock_guard const lock(m_unitMutex);
    m_device = device;
}

std::optional<std::uint32_t> TTSPlayer::device() const
{
    std::lock_guard const lock(m_unitMutex);
    return m_device;
}

bool TTSPlayer::hasOutput() const
{
    std::lock_guard const lock(m_unitMutex);
    return m_unit != nullptr;
}

double TTSPlayer::rate() const
{
    std::lock_guard const lock(m_lock);
    return m_rate;
}

double TTSPlayer::queuedSeconds() const
{
    std::lock_guard const lock(m_lock);
    return static_cast<double>(m_queued) / m_rate;
}

void TTSPlayer::moveTo(std::optional<std::uint32_t> device)
{
    if (device == this->device() && hasOutput())
        return;
    setDevice(device);
    rebuild();
}

void TTSPlayer::rebuild()
{
    std::lock_guard const unitLock(m_unitMutex);
    m_unit.reset();
    dropQueue();
    build();
}

void TTSPlayer::build()
{
    m_unit = m_outputs.open(m_device, *this);
    auto const rate = m_unit ? m_unit->sampleRate() : 48000;
    if (rate != this->rate())
        dropQueue(); // what waited for an output is in another rate
    std::lock_guard const lock(m_lock);
    m_rate = rate;
}

void TTSPlayer::teardown()
{
    std::lock_guard const unitLock(m_unitMutex);
    m_unit.reset();
    m_reports.stopTimer(std::exchange(m_watchTimer, 0));
    dropQueue();
}

void TTSPlayer::dropQueue()
{
    Blocks dropped; // released outside the lock
    std::lock_guard const lock(m_lock);
    dropped.swap(m_blocks);
    m_discontinuity |= m_queued > 0;
    m_reading = m_blocks.end();
    m_readIdx = 0;
    m_queued = 0;
}

void TTSPlayer::enqueuePCM(std::string_view pcm, double sourceRate, bool dropOld)
{
    if (pcm.empty())
        return;
    {
        std::lock_guard const unitLock(m_unitMutex);
        if (!m_unit)
            build();
        if (m_watchTimer == 0)
            watch();
    }
    Blocks incoming;
    incoming.push_back(resample(pcm, sourceRate, rate()));
    if (incoming.front().empty())
        return;
    Blocks played; // released outside the lock
    double queuedSeconds = 0;
    {
        std::lock_guard const lock(m_lock);
        if (dropOld)
            dropOldest(static_cast<std::size_t>(m_rate * keptWhenBehind));
        // A moved list keeps its elements, so its iterators stay good; nothing here depends on how much is queued.
        m_queued += incoming.front().size();
        bool const wasEmpty = m_reading == m_blocks.end();
        auto const first = incoming.begin();
        m_blocks.splice(m_blocks.end(), incoming);
        if (wasEmpty)
            m_reading = first;
        played.splice(played.end(), m_blocks, m_blocks.begin(), m_reading);
        queuedSeconds = static_cast<double>(m_queued) / m_rate;
    }
    if (m_gatesMic)
        EchoGuard::shared().bump(queuedSeconds);
}

/// Moves the reading place forward so that exactly `keep` samples remain.
void TTSPlayer::dropOldest(std::size_t keep)
{
    if (m_queued <= keep)
        return;
    auto excess = m_queued - keep;
    m_queued = keep;
    m_discontinuity = true;
    while (excess > 0) {
        auto const step = std::min(excess, m_reading->size() - m_readIdx);
        m_readIdx += step;
        excess -= step;
        skipEmpty();
    }
}

void TTSPlayer::skipEmpty()
{
    if (m_readIdx < m_reading->size())
        return;
    ++m_reading;
    m_readIdx = 0;
}

/// A plain linear interpolator, good enough for speech.
TTSPlayer::Block TTSPlayer::resample(std::string_view pcm, double sourceRate, double targetRate)
{
    auto const count = pcm.size() / 2;
    auto const sample = [&](std::size_t index) {
        std::int16_t value = 0;
        std::memcpy(&value, pcm.data() + 2 * std::min(index, count - 1), 2);
        return std::max(static_cast<float>(value) / 32768.0F, -1.0F);
    };
    Block result;
    if (count == 0)
        return result;
    if (std::abs(sourceRate - targetRate) < 1.0) {
        result.resize(count);
        for (std::size_t i = 0; i < count; ++i)
            result[i] = sample(i);
        return result;
    }
    auto const ratio = sourceRate / targetRate;
    result.resize(static_cast<std::size_t>(static_cast<double>(count) / ratio));
    for (std::size_t i = 0; i < result.size(); ++i) {
        auto const position = static_cast<double>(i) * ratio;
        auto const index = static_cast<std::size_t>(position);
        auto const fraction = static_cast<float>(position - static_cast<double>(index));
        result[i] = sample(index) + (sample(index + 1) - sample(index)) * fraction;
    }
    return result;
}

float TTSPlayer::next()
{
    if (m_wasStarved || m_discontinuity) {
        m_rampIn = rampLength(m_rate);
        m_wasStarved = m_discontinuity = false;
    }
    auto value = (*m_reading)[m_readIdx++];
    --m_queued;
    skipEmpty();
    if (m_rampIn >= 1)
        value *= 1.0F - static_cast<float>(m_rampIn--) / static_cast<float>(rampLength(m_rate));
    return value;
}

void TTSPlayer::render(float* out, std::size_t frames)
{
    if (!out)
        return;
    ++m_renders;
    std::lock_guard const lock(m_lock);
    bool newlyStarved = false;
    float peak = 0;
    for (std::size_t i = 0; i < frames; ++i) {
        if (starved()) {
            newlyStarved |= !std::exchange(m_wasStarved, true);
            m_lastOut *= decay;
            if (std::abs(m_lastOut) < inaudible)
                m_lastOut = 0;
        } else {
            m_lastOut = next();
        }
        out[i] = m_lastOut;
        peak = std::max(peak, std::abs(m_lastOut));
    }
    if (newlyStarved && m_clipStreaming)
        ++m_underruns;
    m_levelTick += frames;
    if (m_levelTick >= static_cast<std::size_t>(m_rate / 10)) {
        m_levelTick = 0;
        m_peak = peak;
        ++m_levels;
    }
}

/// Nothing can be posted from the real-time thread, so what it counts is looked at from here, while there is sound.
void TTSPlayer::watch()
{
    m_watchTimer = m_reports.startTimer(
        nextBeat(m_reports.now(), watchInterval), whileAlive(weak_from_this(), [](TTSPlayer& self) { self.look(); }));
}

void TTSPlayer::look()
{
    report();
    discardUnplayed();
    std::lock_guard const lock(m_unitMutex);
    bool const sounding = queuedSeconds() > 0 || (m_unit && (m_clipStreaming || m_peak > 0));
    bool const again = m_watchTimer != 0 && sounding;
    m_watchTimer = 0;
    if (again)
        watch();
}

/// Counts its own turns, not the clock: a program that was stopped for a while has missed no more than one.
void TTSPlayer::discardUnplayed()
{
    if (auto const renders = m_renders.load(); renders != std::exchange(m_seenRenders, renders)) {
        m_away = m_unplayed = {};
        return;
    }
    m_away += watchInterval;
    m_unplayed += watchInterval;
    if (m_away < awayAfter)
        return;
    m_peak = 0;
    std::lock_guard const lock(m_lock);
    auto const samples = static_cast<std::size_t>(toSeconds(std::exchange(m_unplayed, {})) * m_rate);
    dropOldest(m_queued - std::min(m_queued, samples));
}

void TTSPlayer::report()
{
    for (; m_reportedUnderruns < m_underruns; ++m_reportedUnderruns) {
        if (onUnderrun)
            onUnderrun();
    }
    if (auto const levels = m_levels.load(); levels != std::exchange(m_reportedLevels, levels) && onLevel)
        onLevel(m_peak);
}

} // namespace lingrelay
