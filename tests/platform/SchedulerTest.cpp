#include "platform/linux/AsioScheduler.h"
#include "platform/sim/VirtualTime.h"
#include "tests/platform/SchedulerContract.h"

#include <array>
#include <atomic>
#include <future>
#include <random>
#include <thread>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

struct VirtualFixture final : SchedulerFixture {
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

struct RuntimeFixture final : SchedulerFixture {
    AsioRuntime runtime;
    std::unique_ptr<Scheduler> own = runtime.makeScheduler();
    ~RuntimeFixture() override { runtime.stop(); }
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

struct MainLoopFixture : SchedulerFixture {
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

struct MainRuntimeFixture final : MainLoopFixture {
    std::unique_ptr<Scheduler> own = loop.runtime().makeScheduler();
    Scheduler& scheduler() override { return *own; }
};

INSTANTIATE_TEST_SUITE_P(All, SchedulerContract,
    testing::Values(std::pair{"virtual", &make<VirtualFixture>}, std::pair{"runtime", &make<RuntimeFixture>},
        std::pair{"mainLoop", &make<MainLoopFixture>}, std::pair{"mainRuntime", &make<MainRuntimeFixture>}),
    [](auto const& test) { return std::string(test.param.first); });

TEST(AsioScheduler, jobsOfManyThreadsRunOneAtATimeInTheOrderOfEachThread)
{
    AsioRuntime runtime;
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

/// Tokens that hop at random between threads, by jobs and by timers: a thread that is not woken holds one up for ever.
TEST(AsioScheduler, threadsThatPostToEachOtherAlwaysWake)
{
    constexpr int tokens = 5;
    constexpr int hops = 4000;
    AsioMainLoop main;
    std::array<AsioRuntime, 3> runtimes{AsioRuntime(), AsioRuntime(), AsioRuntime(AsioRuntime::Jobs::mayBlock)};
    std::vector<std::unique_ptr<Scheduler>> schedulers;
    for (auto& runtime : runtimes)
        schedulers.push_back(runtime.makeScheduler());
    schedulers.push_back(main.runtime().makeScheduler());
    std::atomic<int> arrived = 0;
    std::function<void(unsigned, int)> const hop = [&](unsigned token, int left) {
        if (left == 0) {
            ++arrived;
            return main.quit();
        }
        auto const next = token * 1103515245U + 12345U;
        auto const where = (next >> 16) % (schedulers.size() + 1);
        auto& scheduler = where < schedulers.size() ? *schedulers[where] : main;
        if ((next >> 24) % 16 == 0)
            scheduler.startTimer(Clock::now() + 50us, [&hop, next, left] { hop(next, left - 1); });
        else
            scheduler.post([&hop, next, left] { hop(next, left - 1); });
    };
    for (unsigned token = 0; token < tokens; ++token)
        hop(token, hops);
    bool late = false;
    main.startTimer(main.now() + 30s, [&] {
        late = true;
        main.quit();
    });
    while (arrived < tokens && !late)
        main.run();
    EXPECT_FALSE(late);
    for (auto& runtime : runtimes)
        runtime.stop();
}

TEST(AsioScheduler, timersOfADestroyedSchedulerAreGoneWithWhatTheyHeld)
{
    AsioRuntime runtime;
    auto held = std::make_shared<int>(1);
    auto scheduler = runtime.makeScheduler();
    scheduler->startTimer(Clock::now() + 10ms, [held] { FAIL(); });
    scheduler.reset();
    EXPECT_EQ(held.use_count(), 1);
    std::this_thread::sleep_for(30ms);
}

TEST(AsioScheduler, stopLetsTheRunningJobEndAndBeginsNoOther)
{
    AsioRuntime runtime;
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
