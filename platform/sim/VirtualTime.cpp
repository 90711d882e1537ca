#include "platform/sim/VirtualTime.h"

#include <algorithm>

namespace lingrelay {

VirtualScheduler& VirtualTime::pick()
{
    if (m_random) {
        std::vector<VirtualScheduler*> candidates;
        std::copy_if(m_schedulers.begin(), m_schedulers.end(), std::back_inserter(candidates),
            [](auto const* scheduler) { return !scheduler->m_ready.empty(); });
        return *candidates[(*m_random)() % candidates.size()];
    }
    VirtualScheduler* oldest = nullptr;
    for (auto* scheduler : m_schedulers) {
        if (!scheduler->m_ready.empty()
            && (!oldest || scheduler->m_ready.front().order < oldest->m_ready.front().order))
            oldest = scheduler;
    }
    return *oldest;
}

void VirtualTime::runReady()
{
    while (m_readyCount > 0) {
        auto& scheduler = pick();
        auto job = std::move(scheduler.m_ready.front().job);
        scheduler.m_ready.pop_front();
        --m_readyCount;
        job();
    }
}

void VirtualTime::advance(Duration duration)
{
    auto const end = m_now + duration;
    runReady();
    while (!m_timers.empty() && m_timers.begin()->first.first <= end) {
        m_now = m_timers.begin()->first.first;
        while (!m_timers.empty() && m_timers.begin()->first.first == m_now) {
            auto node = m_timers.extract(m_timers.begin());
            auto const id = node.key().second;
            auto& scheduler = *node.mapped().scheduler;
            m_timerInstants.erase(id);
            scheduler.m_due.emplace(id, std::move(node.mapped().job));
            scheduler.post([&scheduler, id] { // a job that runs before this one may still stop the timer
                if (auto due = scheduler.m_due.extract(id))
                    due.mapped()();
            });
        }
        runReady();
    }
    m_now = end;
}

VirtualScheduler::~VirtualScheduler()
{
    m_time.m_readyCount -= m_ready.size();
    std::erase(m_time.m_schedulers, this);
    std::erase_if(m_time.m_timers, [this](auto const& timer) { return timer.second.scheduler == this; });
}

void VirtualScheduler::post(Job job)
{
    m_ready.push_back({++m_time.m_lastPost, std::move(job)});
    ++m_time.m_readyCount;
}

Scheduler::TimerId VirtualScheduler::startTimer(Instant when, Job job)
{
    auto const id = ++m_time.m_lastTimer;
    when = std::max(when, now());
    m_time.m_timers.emplace(VirtualTime::TimerKey{when, id}, VirtualTime::Timer{this, std::move(job)});
    m_time.m_timerInstants.emplace(id, when);
    return id;
}

void VirtualScheduler::stopTimer(TimerId id)
{
    if (auto const instant = m_time.m_timerInstants.extract(id))
        m_time.m_timers.erase({instant.mapped(), id});
    m_due.erase(id);
}

} // namespace lingrelay
