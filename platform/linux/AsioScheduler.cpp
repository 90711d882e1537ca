#include "platform/linux/AsioScheduler.h"

#include "platform/linux/Strand.h"

#include <boost/asio/bind_executor.hpp>
#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/steady_timer.hpp>

#include <algorithm>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

namespace asio = boost::asio;

namespace lingrelay {

namespace {

/// The timers of one strand on one system timer. Most timers guard against something that does not happen, so stopping
/// one leaves the system timer alone: it comes once for nothing, which costs less than setting it at every stop.
class StrandTimers : public std::enable_shared_from_this<StrandTimers> {
public:
    explicit StrandTimers(Strand const& strand) : m_strand(strand), m_alarm(strand.get_inner_executor()) { }

    Scheduler::TimerId start(Instant when, Scheduler::Job job)
    {
        std::lock_guard const lock(m_mutex);
        auto const id = ++m_lastId;
        m_timers.emplace(Key{when, id}, std::move(job));
        m_instants.emplace(id, when);
        arm();
        return id;
    }

    void stop(Scheduler::TimerId id)
    {
        Scheduler::Job stopped; // destroyed outside the lock: what it holds may start or stop timers
        std::lock_guard const lock(m_mutex);
        if (auto const instant = m_instants.extract(id))
            stopped = std::move(m_timers.extract({instant.mapped(), id}).mapped());
    }

    void clear()
    {
        std::map<Key, Scheduler::Job> timers;
        std::lock_guard const lock(m_mutex);
        timers.swap(m_timers);
        m_instants.clear();
        m_alarm.cancel();
    }

private:
    using Key = std::pair<Instant, Scheduler::TimerId>;

    /// Under the lock.
    void arm()
    {
        if (m_timers.empty() || (m_armed && *m_armed <= m_timers.begin()->first.first))
            return;
        m_armed = m_timers.begin()->first.first;
        m_alarm.expires_at(*m_armed);
        m_alarm.async_wait(asio::bind_executor(m_strand, [weak = weak_from_this()](boost::system::error_code error) {
            if (auto const self = error ? nullptr : weak.lock())
                self->fire();
        }));
    }

    void fire()
    {
        auto const now = Clock::now();
        std::unique_lock lock(m_mutex);
        auto const last = m_lastId; // timers that the jobs start wait for another turn
        // One at a time: a job may stop a timer that is due with it.
        while (!m_timers.empty() && m_timers.begin()->first.first <= now && m_timers.begin()->first.second <= last) {
            auto node = m_timers.extract(m_timers.begin());
            m_instants.erase(node.key().second);
            lock.unlock();
            node.mapped()();
            node = {};
            lock.lock();
        }
        m_armed.reset();
        arm();
    }

    Strand m_strand;
    std::mutex m_mutex;
    asio::steady_timer m_alarm;
    std::optional<Instant> m_armed;
    std::map<Key, Scheduler::Job> m_timers;
    std::unordered_map<Scheduler::TimerId, Instant> m_instants;
    Scheduler::TimerId m_lastId = 0;
};

class StrandScheduler final : public Scheduler {
public:
    explicit StrandScheduler(asio::io_context& context)
        : m_strand(asio::make_strand(context))
        , m_timers(std::make_shared<StrandTimers>(m_strand))
    {
    }
    ~StrandScheduler() override { m_timers->clear(); }

    Instant now() const override { return Clock::now(); }
    Date date() const override { return std::chrono::system_clock::now(); }
    void post(Job job) override { asio::post(m_strand, std::move(job)); }
    TimerId startTimer(Instant when, Job job) override { return m_timers->start(when, std::move(job)); }
    void stopTimer(TimerId id) override { m_timers->stop(id); }

    Strand const& strand() const { return m_strand; }

private:
    Strand const m_strand;
    std::shared_ptr<StrandTimers> m_timers;
};

} // namespace

Strand strandOf(Scheduler& scheduler, asio::io_context& context)
{
    auto const* own = dynamic_cast<StrandScheduler const*>(&scheduler);
    return own && &own->strand().get_inner_executor().context() == &context ? own->strand()
                                                                            : asio::make_strand(context);
}

struct AsioRuntime::Impl {
    explicit Impl(int threads) : context(threads), work(context.get_executor()) { }

    asio::io_context context;
    asio::executor_work_guard<asio::io_context::executor_type> work;
    std::vector<std::thread> threads;
};

AsioRuntime::AsioRuntime(int threads) : m_impl(std::make_unique<Impl>(threads))
{
    for (int i = 0; i < threads; ++i)
        m_impl->threads.emplace_back([this] { m_impl->context.run(); });
}

AsioRuntime::~AsioRuntime() { stop(); }

std::unique_ptr<Scheduler> AsioRuntime::makeScheduler() { return std::make_unique<StrandScheduler>(m_impl->context); }

void AsioRuntime::stop()
{
    m_impl->context.stop();
    for (auto& thread : m_impl->threads)
        thread.join();
    m_impl->threads.clear();
}

asio::io_context& AsioRuntime::context() { return m_impl->context; }

struct AsioMainLoop::Impl {
    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> work{context.get_executor()};
    StrandScheduler scheduler{context};
};

AsioMainLoop::AsioMainLoop() : m_impl(std::make_unique<Impl>()) { }
AsioMainLoop::~AsioMainLoop() = default;

void AsioMainLoop::run()
{
    m_impl->context.run();
    m_impl->context.restart();
}

void AsioMainLoop::quit() { m_impl->context.stop(); }
Instant AsioMainLoop::now() const { return m_impl->scheduler.now(); }
Date AsioMainLoop::date() const { return m_impl->scheduler.date(); }
void AsioMainLoop::post(Job job) { m_impl->scheduler.post(std::move(job)); }
Scheduler::TimerId AsioMainLoop::startTimer(Instant when, Job job)
{
    return m_impl->scheduler.startTimer(when, std::move(job));
}
void AsioMainLoop::stopTimer(TimerId id) { m_impl->scheduler.stopTimer(id); }

} // namespace lingrelay
