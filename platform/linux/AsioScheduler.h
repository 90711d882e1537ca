#pragma once

#include "base/async/Scheduler.h"

#include <memory>

namespace boost::asio {
class io_context;
}

namespace lingrelay {

/// What serves sockets and runs schedulers on one thread: its own, or that of a main loop. One thread serves the
/// sockets of a few streams with the fewest changes of thread; work that blocks gets a runtime of its own. Any thread.
/// Made first; outlives its schedulers and sockets.
///
/// To end: stop(), then destroy what uses the schedulers, then the schedulers, then this.
class AsioRuntime {
public:
    /// What brief jobs post to other threads is begun there once those that wait with them have run, which wakes each
    /// thread once; what jobs post that may block is begun at once.
    enum class Jobs { brief, mayBlock };

    explicit AsioRuntime(Jobs jobs = Jobs::brief);
    ~AsioRuntime();

    std::unique_ptr<Scheduler> makeScheduler();

    /// Lets the running job end, begins no other and joins the thread. Not from a job, and not where it has none of its
    /// own.
    void stop();

    /// For platform/linux alone.
    boost::asio::io_context& context();
    /// Not before its first job and not after its last one.
    bool running() const;

private:
    friend class AsioMainLoop;
    struct Impl;
    explicit AsioRuntime(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> m_impl;
};

/// The scheduler of the thread that calls run(), for a program without a window.
class AsioMainLoop final : public Scheduler {
public:
    AsioMainLoop();
    ~AsioMainLoop() override;

    /// Runs jobs until quit(). May be called again.
    void run();
    /// Any thread. The job that runs now is the last one of this run(); called before run(), it returns at once.
    void quit();

    /// Sockets and schedulers on this thread: what happens on them while run() runs costs no change of thread.
    AsioRuntime& runtime();

    Instant now() const override;
    Date date() const override;
    void post(Job job) override;
    TimerId startTimer(Instant when, Job job) override;
    void stopTimer(TimerId id) override;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace lingrelay
