#include "platform/linux/qt/QtScheduler.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QTimerEvent>

#include <deque>
#include <map>
#include <mutex>
#include <unordered_map>

namespace lingrelay {

namespace {

/// Painting and input take turns with jobs: longer than this they do not wait.
constexpr Duration slice = seconds(0.004);

} // namespace

/// Receives the events that stand for jobs; any number of jobs share one event.
struct QtScheduler::Loop final : QObject {
    using Key = std::pair<Instant, TimerId>;

    std::mutex mutex;
    std::deque<Job> jobs;
    std::map<Key, Job> timers;
    std::unordered_map<TimerId, Instant> instants;
    TimerId lastId = 0;
    bool woken = false; ///< an event is on its way
    QBasicTimer alarm; ///< main

    /// Under the lock.
    void wake()
    {
        if (std::exchange(woken, true))
            return;
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
    }

    void customEvent(QEvent*) override
    {
        {
            std::lock_guard const lock(mutex);
            woken = false;
        }
        runJobs();
        fireTimers();
        setAlarm();
    }

    void timerEvent(QTimerEvent*) override
    {
        alarm.stop();
        fireTimers();
        setAlarm();
    }

    /// Those that are there now; what they post waits for another turn.
    void runJobs()
    {
        auto const end = Clock::now() + slice;
        std::unique_lock lock(mutex);
        // A job may run the others in a loop of its own.
        for (auto left = jobs.size(); left > 0 && !jobs.empty(); --left) {
            if (Clock::now() >= end)
                return wake();
            auto job = std::move(jobs.front());
            jobs.pop_front();
            lock.unlock();
            job();
            job = nullptr;
            lock.lock();
        }
    }

    void fireTimers()
    {
        auto const now = Clock::now();
        std::unique_lock lock(mutex);
        auto const last = lastId; // timers that the jobs start wait for another turn
        // One at a time: a job may stop a timer that is due with it.
        while (!timers.empty() && timers.begin()->first.first <= now && timers.begin()->first.second <= last) {
            auto node = timers.extract(timers.begin());
            instants.erase(node.key().second);
            lock.unlock();
            node.mapped()();
            node = {};
            lock.lock();
        }
    }

    void setAlarm()
    {
        std::lock_guard const lock(mutex);
        if (timers.empty())
            return alarm.stop();
        auto const wait
            = std::chrono::ceil<std::chrono::milliseconds>(timers.begin()->first.first - Clock::now()).count();
        alarm.start(static_cast<int>(std::clamp<std::int64_t>(wait, 0, 3'600'000)), Qt::PreciseTimer, this);
    }
};

QtScheduler::QtScheduler() : m_loop(std::make_unique<Loop>()) { }
QtScheduler::~QtScheduler() = default;

Instant QtScheduler::now() const { return Clock::now(); }
Date QtScheduler::date() const { return std::chrono::system_clock::now(); }

void QtScheduler::post(Job job)
{
    std::lock_guard const lock(m_loop->mutex);
    m_loop->jobs.push_back(std::move(job));
    m_loop->wake();
}

Scheduler::TimerId QtScheduler::startTimer(Instant when, Job job)
{
    std::lock_guard const lock(m_loop->mutex);
    auto const id = ++m_loop->lastId;
    m_loop->timers.emplace(Loop::Key{when, id}, std::move(job));
    m_loop->instants.emplace(id, when);
    if (m_loop->timers.begin()->first.second == id)
        m_loop->wake(); // the alarm is set on main
    return id;
}

void QtScheduler::stopTimer(TimerId id)
{
    Job stopped; // destroyed outside the lock: what it holds may start or stop timers
    std::lock_guard const lock(m_loop->mutex);
    if (auto const instant = m_loop->instants.extract(id))
        stopped = std::move(m_loop->timers.extract({instant.mapped(), id}).mapped());
}

} // namespace lingrelay
