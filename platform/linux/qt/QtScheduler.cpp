#include "platform/linux/qt/QtScheduler.h"

#include "base/async/TimerQueue.h"

#include <QBasicTimer>
#include <QCoreApplication>
#include <QEvent>
#include <QObject>
#include <QThread>
#include <QTimerEvent>

#include <deque>
#include <mutex>

namespace lingrelay {

namespace {

/// Painting and input take turns with jobs: longer than this they do not wait.
constexpr Duration slice = seconds(0.004);

} // namespace

/// Receives the events that stand for jobs; any number of jobs share one event.
struct QtScheduler::Loop final : QObject {
    std::mutex mutex; ///< guards the jobs and `woken`
    std::deque<Job> jobs;
    bool woken = false; ///< an event is on its way
    QBasicTimer alarm; ///< main
    TimerQueue timers{[this](Instant when) { setAlarm(when); }};

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
        timers.fire(Clock::now());
    }

    void timerEvent(QTimerEvent*) override
    {
        alarm.stop();
        timers.fire(Clock::now());
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

    /// Qt's timers belong to main: another thread has main set the alarm, by firing what is not due yet.
    void setAlarm(Instant when)
    {
        if (QThread::currentThread() != thread()) {
            std::lock_guard const lock(mutex);
            return wake();
        }
        auto const wait = std::chrono::ceil<std::chrono::milliseconds>(when - Clock::now()).count();
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

Scheduler::TimerId QtScheduler::startTimer(Instant when, Job job) { return m_loop->timers.start(when, std::move(job)); }

void QtScheduler::stopTimer(TimerId id) { m_loop->timers.stop(id); }

} // namespace lingrelay
