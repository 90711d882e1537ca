// One contract, for virtual time, for strands of worker threads and for the loop of the main thread.

#include "platform/linux/AsioScheduler.h"
#include "platform/sim/VirtualTime.h"

#include <future>
#include <random>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace lingrelay {

namespace {

struct Fixture {
    virtual ~Fixture() = default;
    virtual Scheduler& scheduler() = 0;
    /// Lets `time` go by; jobs may run meanwhile.
    virtual void pass(Duration time) = 0;
    /// Runs a job on the scheduler and waits for it.
    virtual void onScheduler(std::function<void()> job) = 0;
};

struct VirtualFixture final : Fixture {
    VirtualTime time{7};
    VirtualScheduler own{time};
    Scheduler& scheduler() override { return own; }
    void pass(Duration duration) override { time.advance(duration); }
    void onScheduler(std::function<void()> job) override
    {
        own.post(std::move(job));
        time.runReady();
    }
};

struct StrandFixture final : Fixture {
    AsioRuntime runtime{3};
    std::unique_ptr<Scheduler> own = runtime.makeScheduler();
    ~StrandFixture() override { runtime.stop(); }
    Scheduler& scheduler() override { return *own; }
    void pass(Duration duration) override { std::this_thread::sleep_for(duration + 30ms); }
    void onScheduler(std::function<void()> job) override
    {
        std::promise<void> done;
        own->post([&] {
            job();
            done.set_value();
        });
        done.get_future().wait();
    }
};

struct MainLoopFixture final : Fixture {
    AsioMainLoop loop;
    Scheduler& scheduler() override { return loop; }
    void pass(Duration duration) override
    {
        loop.startTimer(loop.now() + duration + 5ms, [this] { loop.quit(); });
        loop.run();
    }
    void onScheduler(std::function<void()> job) override
    {
        loop.post([&] {
            job();
            loop.quit();
        });
        loop.run();
    }
};

template <class F> std::unique_ptr<Fixture> make() { return std::make_unique<F>(); }

class SchedulerContract : public testing::TestWithParam<std::pair<char const*, std::unique_ptr<Fixture> (*)()>> {
protected:
    std::unique_ptr<Fixture> fixture = GetParam().second();
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
        scheduler.startTimer(when + 5ms, [&] { trace.push_back(4); });
        EXPECT_GT(scheduler.startTimer(when, [&] { trace.push_back(1); }), 0u);
        scheduler.startTimer(when, [&] { trace.push_back(2); });
        scheduler.startTimer(when, [this, when] {
            trace.push_back(3);
            EXPECT_GE(scheduler.now(), when);
        });
        scheduler.startTimer(begin - 1h, [&] { trace.push_back(0); });
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

TEST_P(SchedulerContract, earlierTimerStartedLaterStillComesInTime)
{
    Instant fired{};
    Instant start{};
    fixture->onScheduler([&] {
        start = scheduler.now();
        scheduler.startTimer(start + 1h, [&] { trace.push_back(9); });
        scheduler.startTimer(start + 40ms, [&] { fired = scheduler.now(); });
        scheduler.stopTimer(scheduler.startTimer(start + 10ms, [&] { trace.push_back(8); }));
    });
    fixture->pass(100ms);
    EXPECT_EQ(traced(), Numbers());
    fixture->onScheduler([&] {
        EXPECT_GE(fired, start + 40ms);
        EXPECT_LT(fired, start + 140ms);
    });
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

INSTANTIATE_TEST_SUITE_P(All, SchedulerContract,
    testing::Values(std::pair{"virtual", &make<VirtualFixture>}, std::pair{"strand", &make<StrandFixture>},
        std::pair{"mainLoop", &make<MainLoopFixture>}),
    [](auto const& test) { return std::string(test.param.first); });

TEST(AsioScheduler, jobsOfManyThreadsRunOneAtATimeInTheOrderOfEachThread)
{
    AsioRuntime runtime(4);
    auto const scheduler = runtime.makeScheduler();
    constexpr int threads = 4;
    constexpr int jobs = 5000;
    std::vector<int> next(threads);
    int total = 0; // unguarded on purpose: a second job at the same time is a race
    std::vector<std::thread> posters;
    for (int t = 0; t < threads; ++t) {
        posters.emplace_back([&, t] {
            for (int n = 0; n < jobs; ++n) {
                scheduler->post([&, t, n] {
                    EXPECT_EQ(next[t]++, n);
                    ++total;
                });
                if (n % 50 == 0)
                    scheduler->stopTimer(scheduler->startTimer(Clock::now() + 1ms, [&] {
                        ++total;
                        --total;
                    }));
            }
        });
    }
    for (auto& poster : posters)
        poster.join();
    std::promise<void> done;
    scheduler->post([&] { done.set_value(); });
    done.get_future().wait();
    runtime.stop();
    EXPECT_EQ(total, threads * jobs);
}

TEST(AsioScheduler, timersOfADestroyedSchedulerAreGoneWithWhatTheyHeld)
{
    AsioRuntime runtime(2);
    auto held = std::make_shared<int>(1);
    auto scheduler = runtime.makeScheduler();
    scheduler->startTimer(Clock::now() + 10ms, [held] { FAIL(); });
    scheduler.reset();
    EXPECT_EQ(held.use_count(), 1);
    std::this_thread::sleep_for(30ms);
}

TEST(AsioScheduler, stopLetsTheRunningJobEndAndBeginsNoOther)
{
    AsioRuntime runtime(2);
    auto const scheduler = runtime.makeScheduler();
    std::promise<void> begun;
    std::atomic<int> ended = 0;
    scheduler->post([&] {
        begun.set_value();
        std::this_thread::sleep_for(50ms);
        ++ended;
    });
    scheduler->post([&] { ++ended; });
    begun.get_future().wait();
    runtime.stop();
    EXPECT_EQ(ended, 1);
}

} // namespace

} // namespace lingrelay
