#pragma once

#include "base/async/Scheduler.h"

#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <unordered_map>
#include <vector>

namespace lingrelay {

class VirtualScheduler;

/// A clock that moves only when told to, shared by any number of schedulers: one thread, no waiting.
///
/// Each scheduler keeps its own order. Among schedulers that have work at the same instant the oldest job goes
/// first; with a seed the next scheduler is drawn at random, repeatably, as a pool of threads would.
class VirtualTime {
public:
    explicit VirtualTime(std::optional<std::uint32_t> seed = {})
    {
        if (seed)
            m_random.emplace(*seed);
    }
    VirtualTime(VirtualTime const&) = delete;
    VirtualTime& operator=(VirtualTime const&) = delete;

    Instant now() const { return m_now; }
    Date date() const { return m_epoch + std::chrono::duration_cast<Date::duration>(m_now.time_since_epoch()); }
    /// Makes the wall clock jump; monotonic time is not touched.
    void setDate(Date date) { m_epoch += date - this->date(); }

    /// Runs all that is due now, without moving the clock.
    void runReady();
    /// Moves the clock forward, stopping at each instant that has a timer.
    void advance(Duration duration);
    /// Advances in steps until `done` is true; false when `limit` has passed first.
    template <class F> bool advanceUntil(F done, Duration limit, Duration step = std::chrono::milliseconds(10))
    {
        runReady();
        for (auto const end = m_now + limit; !done() && m_now < end;)
            advance(step);
        return done();
    }
    /// True when nothing is left that could ever run.
    bool idle() const { return m_readyCount == 0 && m_timers.empty(); }
    std::size_t timerCount() const { return m_timers.size(); }

private:
    friend class VirtualScheduler;
    struct Timer {
        VirtualScheduler* scheduler;
        Scheduler::Job job;
    };
    using TimerKey = std::pair<Instant, Scheduler::TimerId>;

    VirtualScheduler& pick();

    Instant m_now{};
    Date m_epoch = std::chrono::sys_days(std::chrono::year(2026) / 3 / 1);
    std::optional<std::mt19937> m_random;
    std::vector<VirtualScheduler*> m_schedulers;
    std::size_t m_readyCount = 0;
    std::uint64_t m_lastPost = 0;
    Scheduler::TimerId m_lastTimer = 0;
    std::map<TimerKey, Timer> m_timers;
    std::unordered_map<Scheduler::TimerId, Instant> m_timerInstants;
};

/// One serial executor of a VirtualTime. Destroyed before it, and after all that uses the scheduler.
class VirtualScheduler final : public Scheduler {
public:
    explicit VirtualScheduler(VirtualTime& time) : m_time(time) { m_time.m_schedulers.push_back(this); }
    ~VirtualScheduler() override;

    Instant now() const override { return m_time.now(); }
    Date date() const override { return m_time.date(); }
    void post(Job job) override;
    TimerId startTimer(Instant when, Job job) override;
    void stopTimer(TimerId id) override;

private:
    friend class VirtualTime;
    struct Ready {
        std::uint64_t order;
        Job job;
    };

    VirtualTime& m_time;
    std::deque<Ready> m_ready;
    std::unordered_map<TimerId, Job> m_due;
};

} // namespace lingrelay
