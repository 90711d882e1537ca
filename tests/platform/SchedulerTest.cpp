#include "platform/linux/AsioScheduler.h"
#include "platform/sim/VirtualTime.h"
#include "tests/platform/SchedulerContract.h"

#include <array>
#include <atomic>
#include <future>
#include <numeric>
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
    void pass(Duration duration) override
    {
        std::promise<void> passed;
        own->startTimer(own->now() + duration, [&] { passed.set_value(); });
        passed.get_future().wait();
    }
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

struct MainLoopFixture : LoopFixture {
    AsioMainLoop loop;
    Scheduler& scheduler() override { return loop; }
    void run() override { loop.run(); }
    void quit() override { loop.quit(); }
};

struct MainRuntimeFixture final : MainLoopFixture {
    std::unique_ptr<Scheduler> own = loop.runtime().makeScheduler();
    Scheduler& scheduler() override { return *own; }
};

INSTANTIATE_TEST_SUITE_P(All, SchedulerContract,
    testing::Values(std::pair{"virtual", &make<VirtualFixture>}, std::pair{"runtime", &make<RuntimeFixture>},
        std::pair{"mainLoop", &make<MainLoopFixture>}, std::pair{"mainRuntime", &make<MainRuntimeFixture>}),
    [](auto const& test) { return std::string(test.param.first); });

/// Tokens that hop at random between threads, by jobs and by timers: a thread that is not woken holds one up for ever.
TEST(AsioScheduler, threadsThatPostToEachOtherAlwaysWakeAndASchedulersJobsRunOneAtATime)
{
    constexpr int tokens = 5;
    constexpr int hops = 4000;
    AsioMainLoop main;
    std::array<AsioRuntime, 3> runtimes{AsioRuntime(), AsioRuntime(), AsioRuntime(AsioRuntime::Jobs::mayBlock)};
    std::vector<std::unique_ptr<Scheduler>> schedulers;
    for (auto& runtime : runtimes)
        schedulers.push_back(runtime.makeScheduler());
    schedulers.push_back(main.runtime().makeScheduler());
    std::vector<int> visits(schedulers.size() + 1); // unguarded on purpose: a second job at the same time is a race
    std::vector<std::array<int, tokens>> latest(schedulers.size() + 1);
    std::atomic<int> arrived = 0;
    std::function<void(unsigned, int, int)> const hop = [&](unsigned random, int token, int left) {
        if (left == 0) {
            ++arrived;
            return main.quit();
        }
        auto const next = random * 1103515245U + 12345U;
        auto const where = (next >> 16) % visits.size();
        auto const arrive = [&, next, where, token, left] {
            ++visits[where];
            EXPECT_TRUE(latest[where][token] == 0 || latest[where][token] > left);
            latest[where][token] = left;
            hop(next, token, left - 1);
        };
        auto& scheduler = where < schedulers.size() ? *schedulers[where] : main;
        if ((next >> 24) % 16 == 0)
            scheduler.startTimer(Clock::now() + 50us, arrive);
        else
            scheduler.post(arrive);
    };
    for (int token = 0; token < tokens; ++token)
        hop(static_cast<unsigned>(token), token, hops);
    bool late = false;
    main.startTimer(main.now() + 60s, [&] {
        late = true;
        main.quit();
    });
    while (arrived < tokens && !late)
        main.run();
    EXPECT_FALSE(late);
    for (auto& runtime : runtimes)
        runtime.stop();
    EXPECT_EQ(std::accumulate(visits.begin(), visits.end(), 0), tokens * hops);
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
