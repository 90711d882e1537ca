#include "base/async/TimerQueue.h"

namespace lingrelay {

Scheduler::TimerId TimerQueue::start(Instant when, Scheduler::Job job)
{
    std::lock_guard const lock(m_mutex);
    auto const id = ++m_lastId;
    m_timers.emplace(Key{when, id}, std::move(job));
    m_instants.emplace(id, when);
    setAlarm(m_timers.begin());
    return id;
}

void TimerQueue::stop(Scheduler::TimerId id)
{
    Scheduler::Job stopped; // destroyed outside the lock: what it holds may start or stop timers
    std::lock_guard const lock(m_mutex);
    if (auto const instant = m_instants.extract(id))
        stopped = std::move(m_timers.extract({instant.mapped(), id}).mapped());
}

void TimerQueue::fire(Instant now)
{
    std::unique_lock lock(m_mutex);
    auto const last = m_lastId; // timers that the jobs start wait for another turn
    m_alarm.reset();
    setAlarm(m_timers.upper_bound({now, last})); // a job may run the loop inside itself, where the others fire
    // One at a time: a job may stop a timer that is due with it.
    while (!m_timers.empty() && m_timers.begin()->first.first <= now && m_timers.begin()->first.second <= last) {
        auto node = m_timers.extract(m_timers.begin());
        m_instants.erase(node.key().second);
        lock.unlock();
        node.mapped()();
        node = {};
        lock.lock();
    }
    setAlarm(m_timers.begin());
}

void TimerQueue::close()
{
    Timers timers; // destroyed outside the lock
    std::lock_guard const lock(m_mutex);
    m_closed = true;
    timers.swap(m_timers);
    m_instants.clear();
}

void TimerQueue::setAlarm(Timers::const_iterator next)
{
    if (m_closed || next == m_timers.end() || (m_alarm && *m_alarm <= next->first.first))
        return;
    m_alarm = next->first.first;
    m_setAlarm(*m_alarm);
}

} // namespace lingrelay
