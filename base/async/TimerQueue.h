#pragma once

#include "base/async/Scheduler.h"

#include <map>
#include <mutex>
#include <optional>
#include <unordered_map>

namespace lingrelay {

/// The timers of one scheduler that runs on a system loop, behind one alarm of that loop. Any thread, but for `fire`.
///
/// Most timers guard against something that does not happen, so to stop one leaves the alarm alone: it comes once for
/// nothing, which costs less than setting it at every stop.
class TimerQueue {
public:
    /// `setAlarm` sees to it that `fire` is called at the time given, and forgets the time that it was given before.
    /// It is called under this queue's lock, on the thread that starts a timer or that fires.
    explicit TimerQueue(std::function<void(Instant)> setAlarm) : m_setAlarm(std::move(setAlarm)) { }

    Scheduler::TimerId start(Instant when, Scheduler::Job job);
    void stop(Scheduler::TimerId id);

    /// Runs the jobs that are due at `now`, on the scheduler, and sets the alarm for the others.
    void fire(Instant now);

    /// Drops all timers and sets no alarm any more.
    void close();

private:
    using Key = std::pair<Instant, Scheduler::TimerId>;
    using Timers = std::map<Key, Scheduler::Job>;

    void setAlarm(Timers::const_iterator next);

    std::function<void(Instant)> const m_setAlarm;
    std::mutex m_mutex; ///< guards all below
    std::optional<Instant> m_alarm; ///< what the alarm is set to
    Timers m_timers;
    std::unordered_map<Scheduler::TimerId, Instant> m_instants;
    Scheduler::TimerId m_lastId = 0;
    bool m_closed = false;
};

} // namespace lingrelay
