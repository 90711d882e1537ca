#include "cli/soundfiles/FileFeeder.h"

#include "audio/PcmConversion.h"
#include "base/Log.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr std::size_t blockSamples = SoundFile::rate / 10;
constexpr Duration blockTime = seconds(0.1);
/// With `fast`: few enough to stay far below what the socket drops, enough to keep it busy.
constexpr std::size_t mostUnderWay = 4;
constexpr Duration openPoll = seconds(0.01);
constexpr Duration stallPoll = seconds(0.05);
constexpr Duration caughtUpPoll = seconds(0.02);
/// How long a provider that is behind, or does not say, may be quiet before it gets the end all the same.
constexpr Duration longestQuiet = seconds(1.0);
/// Providers look at sound in pieces of their own.
constexpr std::int64_t lookTolerance = SoundFile::rate / 5;

} // namespace

FileFeeder::FileFeeder(Scheduler& scheduler, AudioTarget& target, SoundFile file, Pace pace)
    : m_scheduler(scheduler)
    , m_target(target)
    , m_file(std::move(file))
    , m_pace(pace)
{
}

void FileFeeder::start() { wake(Duration::zero()); }

void FileFeeder::stop()
{
    m_stopped = true;
    m_scheduler.stopTimer(std::exchange(m_timer, 0));
}

void FileFeeder::wake(Duration delay)
{
    m_scheduler.stopTimer(m_timer);
    m_timer = m_scheduler.startTimer(m_scheduler.now() + delay, [weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self || self->m_stopped)
            return;
        self->m_timer = 0;
        self->turn();
    });
}

void FileFeeder::turn()
{
    if (!m_begun) {
        if (!m_target.open())
            return wake(openPoll);
        m_begun = true;
        m_beganAt = nextBeat(m_scheduler.now(), blockTime) - blockTime; // the first block at once, the rest on the beat
        connected(m_target.connection());
        if (onBegin)
            onBegin();
    }
    if (m_pace == Pace::realtime)
        realtimeTurn();
    else
        fastTurn();
}

void FileFeeder::realtimeTurn()
{
    auto const due = [this] { return m_beganAt + blockTime * (m_position / static_cast<std::int64_t>(blockSamples)); };
    while (!m_fileEnded && due() <= m_scheduler.now())
        sendBlock();
    auto const now = m_scheduler.now();
    auto const next = m_fileEnded ? m_beganAt + seconds(position()) : due();
    if (m_fileEnded && next <= now)
        return end();
    wake(next - now);
}

void FileFeeder::fastTurn()
{
    if (auto const connection = m_target.connection(); connection != m_connection) {
        if (!m_target.open())
            return wake(stallPoll);
        connected(connection);
    }
    if (!m_target.open())
        return wake(stallPoll);
    while (m_underWay.size() < mostUnderWay && sendBlock()) { }
    if (m_fileEnded && m_underWay.empty())
        return providerBehind() ? wake(caughtUpPoll) : end();
    // Usually the next block handed on comes first; this is for sockets that died with blocks under way.
    wake(stallPoll);
}

bool FileFeeder::sendBlock()
{
    auto const samples = m_file.read(blockSamples);
    m_fileEnded = samples.size() < blockSamples;
    if (samples.empty())
        return false;
    std::function<void()> sent;
    if (m_pace == Pace::fast) {
        m_underWay.push_back({++m_lastNumber, m_position});
        sent = [weak = weak_from_this(), number = m_lastNumber] {
            auto const self = weak.lock();
            if (!self)
                return;
            self->m_scheduler.post([weak, number] {
                if (auto const alive = weak.lock())
                    alive->handedOn(number);
            });
        };
    }
    m_target.send(convertToInt16(samples), std::move(sent));
    m_position += static_cast<std::int64_t>(samples.size());
    return true;
}

/// A new socket is open: finds the place in the file from which it is fed.
void FileFeeder::connected(int connection)
{
    if (auto const place = m_connection >= 0 ? restartPlace() : 0; place != m_position) {
        Log::write("[feed] new connection: back from {:.1f} s to {:.1f} s", position(),
            static_cast<double>(place) / static_cast<double>(SoundFile::rate));
        if (m_file.seek(place)) {
            m_position = place;
            m_fileEnded = false;
        }
    }
    m_underWay.clear();
    m_connection = connection;
    m_connectionStart = m_position;
    m_recognised.reset();
    m_lookedAt.reset();
    m_hasText = false;
    m_lastNews = m_scheduler.now();
}

std::int64_t FileFeeder::restartPlace() const
{
    auto const handedOn = m_underWay.empty() ? m_position.load() : m_underWay.front().start;
    if (m_recognised)
        return std::min(m_connectionStart + *m_recognised, handedOn);
    return m_hasText ? handedOn : m_connectionStart;
}

bool FileFeeder::providerBehind() const
{
    bool const hasAll = m_lookedAt && m_connectionStart + *m_lookedAt + lookTolerance >= m_position;
    return !hasAll && m_scheduler.now() - m_lastNews < longestQuiet;
}

void FileFeeder::handedOn(std::uint64_t number)
{
    auto const block
        = std::find_if(m_underWay.begin(), m_underWay.end(), [&](Block const& each) { return each.number == number; });
    if (m_stopped || block == m_underWay.end())
        return;
    m_underWay.erase(block);
    m_lastNews = m_scheduler.now();
    if (m_underWay.size() < mostUnderWay / 2 + 1) {
        m_scheduler.stopTimer(std::exchange(m_timer, 0));
        turn();
    }
}

void FileFeeder::noteProgress(int connection, std::int64_t finalMs, std::int64_t lookedAtMs)
{
    if (connection != m_connection)
        return;
    m_recognised = std::max(m_recognised.value_or(0), finalMs * SoundFile::rate / 1000);
    m_lookedAt = std::max({m_lookedAt.value_or(0), *m_recognised, lookedAtMs * SoundFile::rate / 1000});
    m_lastNews = m_scheduler.now();
}

void FileFeeder::noteText(int connection)
{
    if (connection != m_connection)
        return;
    m_hasText = true;
    m_lastNews = m_scheduler.now();
}

void FileFeeder::end()
{
    m_stopped = true;
    if (onEnd)
        onEnd(m_file.damage());
}

} // namespace lingrelay
