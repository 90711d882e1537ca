#pragma once

// One contract, for virtual time, for worker threads and for the loops of the main thread.

#include "base/async/Scheduler.h"

#include <functional>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using namespace std::chrono_literals;

struct SchedulerFixture {
    virtual ~SchedulerFixture() = default;
    virtual Scheduler& scheduler() = 0;
    /// Lets `time` go by; jobs may run meanwhile.
    virtual void pass(Duration time) = 0;
    /// Runs a job on the scheduler and waits for it.
    virtual void onScheduler(std::function<void()> job) = 0;
};

/// For a loop of the thread that tests: `run` runs it until `quit`.
struct LoopFixture : SchedulerFixture {
    virtual void run() = 0;
    virtual void quit() = 0;
    void pass(Duration duration) override
    {
        scheduler().startTimer(scheduler().now() + duration + 5ms, [this] { quit(); });
        run();
    }
    void onScheduler(std::function<void()> job) override
    {
        scheduler().post([&] {
            job();
            quit();
        });
        run();
    }
};

template <class F> std::unique_ptr<SchedulerFixture> make() { return std::make_unique<F>(); }

class SchedulerContract
    : public testing::TestWithParam<std::pair<char const*, std::unique_ptr<SchedulerFixture> (*)()>> {
protected:
    std::unique_ptr<SchedulerFixture> fixture = GetParam().second();
    Scheduler& scheduler = fixture->scheduler();
    std::vector<int> trace; ///< written on the scheduler, read in onScheduler

    std::vector<int> traced()
    {
        std::vector<int> result;
        fixture->onScheduler([&] { result = trace; });
        return result;
    }
};

using Numbers = std::vector<int>;

TEST_P(SchedulerContract, jobsRunInOrderAndNeverInsideTheCall)
{
    fixture->onScheduler([&] {
        scheduler.post([&] {
            trace.push_back(2);
            scheduler.post([&] { trace.push_back(4); });
            trace.push_back(3);
        });
        trace.push_back(1);
    });
    fixture->pass(1ms);
    EXPECT_EQ(traced(), (Numbers{1, 2, 3, 4}));
}

TEST_P(SchedulerContract, timersFireInTheOrderOfTheirTimesAndThenOfTheirStart)
{
    auto const begin = scheduler.now();
    fixture->onScheduler([&] {
        auto const when = scheduler.now() + 30ms;
        scheduler.startTimer(when + 1h, [&] { trace.push_back(9); });
        scheduler.startTimer(when + 5ms, [&] { trace.push_back(4); });
        EXPECT_GT(scheduler.startTimer(when, [&] { trace.push_back(1); }), 0u);
        scheduler.startTimer(when, [&] { trace.push_back(2); });
        scheduler.startTimer(when, [this, when] {
            trace.push_back(3);
            EXPECT_GE(scheduler.now(), when);
        });
        scheduler.startTimer(begin - 1h, [&] { trace.push_back(0); });
        scheduler.stopTimer(scheduler.startTimer(when - 20ms, [&] { trace.push_back(8); }));
    });
    fixture->pass(60ms);
    EXPECT_EQ(traced(), (Numbers{0, 1, 2, 3, 4}));
}

TEST_P(SchedulerContract, stoppedTimerNeverRunsEvenWhenDue)
{
    fixture->onScheduler([&] {
        auto const when = scheduler.now() + 20ms;
        auto const second = std::make_shared<Scheduler::TimerId>();
        scheduler.startTimer(when, [this, second] {
            trace.push_back(1);
            scheduler.stopTimer(*second);
        });
        *second = scheduler.startTimer(when, [&] { trace.push_back(99); });
        auto const third = scheduler.startTimer(when, [&] { trace.push_back(98); });
        scheduler.startTimer(when, [&] { trace.push_back(2); });
        scheduler.stopTimer(third);
        scheduler.stopTimer(third);
        scheduler.stopTimer(0);
        scheduler.stopTimer(123456);
    });
    fixture->pass(40ms);
    EXPECT_EQ(traced(), (Numbers{1, 2}));
}

/// Timers started and stopped at random by jobs: each runs exactly once, or never after its stop.
TEST_P(SchedulerContract, manyTimersRunOnceOrNotAtAll)
{
    for (unsigned seed = 0; seed < 8; ++seed) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        constexpr int count = 300;
        std::vector<int> runs(count);
        std::vector<bool> stopped(count);
        std::vector<Scheduler::TimerId> ids(count);
        fixture->onScheduler([&] {
            for (int i = 0; i < count; ++i) {
                ids[i] = scheduler.startTimer(scheduler.now() + std::chrono::microseconds(random() % 20000), [&, i] {
                    ++runs[i];
                    EXPECT_FALSE(stopped[i]);
                    auto const victim = random() % count;
                    scheduler.stopTimer(ids[victim]);
                    stopped[victim] = runs[victim] == 0;
                });
            }
        });
        fixture->pass(60ms);
        fixture->onScheduler([&] {
            for (int i = 0; i < count; ++i)
                EXPECT_EQ(runs[i], stopped[i] ? 0 : 1);
        });
    }
}

} // namespace

} // namespace lingrelay
