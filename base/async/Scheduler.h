#pragma once

#include "base/Time.h"

#include <cstdint>
#include <functional>

namespace lingrelay {

/// A serial executor with its own clock: jobs run one at a time, in the order posted.
///
/// Code that needs time or a later turn takes a Scheduler, so a test can hand it a virtual one.
/// All members may be called from any thread; jobs must not throw. A scheduler outlives its jobs.
class Scheduler {
public:
    using Job = std::function<void()>;
    using TimerId = std::uint64_t;

    virtual ~Scheduler() = default;

    /// Monotonic time; never goes back.
    virtual Instant now() const = 0;

    /// Wall-clock time. Can jump; for stamps that people read, never for intervals.
    virtual Date date() const = 0;

    /// Queues a job; never runs it inside the call.
    virtual void post(Job job) = 0;

    /// Queues a job at `when`. Timers of equal time fire in the order they were started. Ids begin at 1.
    virtual TimerId startTimer(Instant when, Job job) = 0;

    /// Stops a timer; an id that has fired or is 0 is ignored. Called on the scheduler itself, the job is sure
    /// not to run afterwards.
    virtual void stopTimer(TimerId id) = 0;
};

} // namespace lingrelay
