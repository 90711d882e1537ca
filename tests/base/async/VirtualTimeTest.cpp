#include "platform/sim/VirtualTime.h"

#include <set>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace lingrelay {

namespace {

/// Three schedulers with work at the same instants; returns the order in which it ran.
std::vector<int> order(std::optional<std::uint32_t> seed)
{
    VirtualTime time(seed);
    VirtualScheduler schedulers[] = {VirtualScheduler(time), VirtualScheduler(time), VirtualScheduler(time)};
    std::vector<int> result;
    for (int n = 0; n < 4; ++n) {
        for (int s = 0; s < 3; ++s) {
            schedulers[s].post([&result, s, n] { result.push_back(s * 10 + n); });
            schedulers[s].startTimer(time.now() + 1s, [&result, s, n] { result.push_back(100 + s * 10 + n); });
        }
    }
    time.advance(1s);
    return result;
}

TEST(VirtualTime, seedsShuffleSchedulersButNeverTheirOwnOrder)
{
    std::set<std::vector<int>> orders;
    for (std::uint32_t seed = 0; seed < 50; ++seed) {
        auto const run = order(seed);
        EXPECT_EQ(run, order(seed)) << seed;
        ASSERT_EQ(run.size(), 24u);
        orders.insert(run);
        for (int s = 0; s < 3; ++s) {
            std::vector<int> own;
            std::copy_if(run.begin(), run.end(), std::back_inserter(own), [s](int n) { return n % 100 / 10 == s; });
            EXPECT_TRUE(std::is_sorted(own.begin(), own.end())) << seed;
        }
    }
    EXPECT_GT(orders.size(), 40u);
    auto const plain = order({});
    EXPECT_EQ(std::vector<int>(plain.begin(), plain.begin() + 4), (std::vector<int>{0, 10, 20, 1}));
}

TEST(VirtualTime, clockStopsAtEachTimerAndTheWallClockMayJump)
{
    VirtualTime time;
    VirtualScheduler scheduler(time);
    auto const start = time.now();
    std::vector<Duration> instants;
    scheduler.startTimer(start + 2s, [&] {
        instants.push_back(time.now() - start);
        scheduler.startTimer(time.now() + 500ms, [&] { instants.push_back(time.now() - start); });
        time.setDate(time.date() + 24h);
    });
    auto const date = time.date();
    time.advance(10s);
    EXPECT_EQ(instants, (std::vector<Duration>{2s, 2500ms}));
    EXPECT_EQ(time.now() - start, 10s);
    EXPECT_EQ(time.date() - date, 24h + 10s);
}

TEST(VirtualTime, advanceUntilStopsWhenDoneOrAtTheLimit)
{
    VirtualTime time;
    VirtualScheduler scheduler(time);
    bool done = false;
    scheduler.startTimer(time.now() + 55ms, [&] { done = true; });
    EXPECT_TRUE(time.advanceUntil([&] { return done; }, 1s));
    EXPECT_EQ(time.now().time_since_epoch(), 60ms);
    EXPECT_FALSE(time.advanceUntil([] { return false; }, 100ms));
    EXPECT_EQ(time.now().time_since_epoch(), 160ms);
    EXPECT_TRUE(time.idle());
}

} // namespace

} // namespace lingrelay
