#include "platform/linux/AsioScheduler.h"

#include "base/async/TimerQueue.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <atomic>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace asio = boost::asio;

namespace lingrelay {

namespace {

using Job = Scheduler::Job;
using Jobs = AsioRuntime::Jobs;

/// Sockets, timers and jobs of one thread, one at a time. Jobs wait here and not in the context, which would ask the
/// system for news between any two of them.
class Loop : public std::enable_shared_from_this<Loop> {
public:
    explicit Loop(Jobs jobs) : m_kind(jobs) { }
    ~Loop()
    {
        m_asleep = false;
        while (!m_jobs.empty()) // what they hold may post as it goes
            std::exchange(m_jobs, {});
        m_over = true;
    }

    /// Until stop(), which may come before.
    void run()
    {
        auto* const outer = std::exchange(s_current, this);
        m_running = true;
        while (!context.stopped()) {
            bool const idle = runJobs();
            wakeOthers();
            if (idle)
                context.run_one();
            else
                context.poll_one();
            std::lock_guard const lock(m_mutex);
            m_asleep = false;
        }
        wakeOthers();
        m_running = false;
        context.restart();
        s_current = outer;
    }

    /// Any thread.
    void stop() { context.stop(); }
    bool running() const { return m_running; }

    /// Any thread.
    void post(Job job)
    {
        std::unique_lock lock(m_mutex);
        if (m_over)
            return;
        m_jobs.push_back(std::move(job));
        if (s_current == this || !m_asleep)
            return;
        lock.unlock();
        if (s_current && s_current->m_kind == Jobs::brief)
            s_current->m_toWake.push_back(shared_from_this());
        else
            wake();
    }

private:
    /// Those that are there and what they post, but not without end. True when the thread may sleep: whoever posts
    /// from now on wakes it.
    bool runJobs()
    {
        std::unique_lock lock(m_mutex);
        for (int left = mostJobs; left > 0 && !m_jobs.empty() && !context.stopped(); --left) {
            auto job = std::move(m_jobs.front());
            m_jobs.pop_front();
            lock.unlock();
            job();
            job = nullptr;
            lock.lock();
        }
        return m_asleep = m_jobs.empty();
    }

    /// To wake a thread costs more than most jobs do: those of one turn together wake another loop once.
    void wakeOthers()
    {
        for (auto const& loop : m_toWake)
            loop->wake();
        m_toWake.clear();
    }

    void wake()
    {
        {
            std::lock_guard const lock(m_mutex);
            if (!std::exchange(m_asleep, false))
                return;
        }
        asio::post(context, [] {});
    }

    static constexpr int mostJobs = 64; ///< between two looks at the sockets
    static thread_local Loop* s_current;

    Jobs const m_kind;
    std::mutex m_mutex;
    std::deque<Job> m_jobs;
    bool m_asleep = false;
    bool m_over = false;
    std::atomic<bool> m_running = false;
    std::vector<std::shared_ptr<Loop>> m_toWake; ///< of this thread alone

public:
    asio::io_context context{1}; ///< goes first: what waits in it may post as it goes

private:
    asio::executor_work_guard<asio::io_context::executor_type> m_work{context.get_executor()};
};

thread_local Loop* Loop::s_current = nullptr;

/// A scheduler's timers with their alarm on the loop.
class Timers : public std::enable_shared_from_this<Timers> {
public:
    explicit Timers(asio::io_context& context) : m_alarm(context) { }

    TimerQueue queue{[this](Instant when) { setAlarm(when); }};

private:
    void setAlarm(Instant when)
    {
        m_alarm.expires_at(when);
        m_alarm.async_wait([weak = weak_from_this()](boost::system::error_code error) {
            if (auto const self = error ? nullptr : weak.lock())
                self->queue.fire(Clock::now());
        });
    }

    asio::steady_timer m_alarm; ///< under the queue's lock
};

class LoopScheduler final : public Scheduler {
public:
    /// The loop lives longer. What waits for a socket holds schedulers, so that one which kept the loop would never go.
    explicit LoopScheduler(Loop& loop) : m_loop(loop), m_timers(std::make_shared<Timers>(m_loop.context)) { }
    ~LoopScheduler() override { m_timers->queue.close(); }

    Instant now() const override { return Clock::now(); }
    Date date() const override { return std::chrono::system_clock::now(); }
    void post(Job job) override { m_loop.post(std::move(job)); }
    TimerId startTimer(Instant when, Job job) override { return m_timers->queue.start(when, std::move(job)); }
    void stopTimer(TimerId id) override { m_timers->queue.stop(id); }

private:
    Loop& m_loop;
    std::shared_ptr<Timers> const m_timers;
};

} // namespace

struct AsioRuntime::Impl {
    explicit Impl(Jobs jobs) : loop(std::make_shared<Loop>(jobs)) { }

    std::shared_ptr<Loop> const loop;
    std::thread thread;
};

AsioRuntime::AsioRuntime(std::unique_ptr<Impl> impl) : m_impl(std::move(impl)) { }
AsioRuntime::AsioRuntime(Jobs jobs) : AsioRuntime(std::make_unique<Impl>(jobs))
{
    m_impl->thread = std::thread([loop = m_impl->loop] { loop->run(); });
}
AsioRuntime::~AsioRuntime() { stop(); }

std::unique_ptr<Scheduler> AsioRuntime::makeScheduler() { return std::make_unique<LoopScheduler>(*m_impl->loop); }

void AsioRuntime::stop()
{
    if (!m_impl->thread.joinable())
        return;
    m_impl->loop->stop();
    m_impl->thread.join();
}

asio::io_context& AsioRuntime::context() { return m_impl->loop->context; }
bool AsioRuntime::running() const { return m_impl->loop->running(); }

struct AsioMainLoop::Impl {
    AsioRuntime runtime{std::make_unique<AsioRuntime::Impl>(Jobs::mayBlock)};
    std::unique_ptr<Scheduler> const scheduler = runtime.makeScheduler();
};

AsioMainLoop::AsioMainLoop() : m_impl(std::make_unique<Impl>()) { }
AsioMainLoop::~AsioMainLoop() = default;

void AsioMainLoop::run() { m_impl->runtime.m_impl->loop->run(); }
void AsioMainLoop::quit() { m_impl->runtime.m_impl->loop->stop(); }
AsioRuntime& AsioMainLoop::runtime() { return m_impl->runtime; }
Instant AsioMainLoop::now() const { return m_impl->scheduler->now(); }
Date AsioMainLoop::date() const { return m_impl->scheduler->date(); }
void AsioMainLoop::post(Job job) { m_impl->scheduler->post(std::move(job)); }
Scheduler::TimerId AsioMainLoop::startTimer(Instant when, Job job)
{
    return m_impl->scheduler->startTimer(when, std::move(job));
}
void AsioMainLoop::stopTimer(TimerId id) { m_impl->scheduler->stopTimer(id); }

} // namespace lingrelay
