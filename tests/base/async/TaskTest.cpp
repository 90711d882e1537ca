#include "base/async/Task.h"
#include "base/async/OneShot.h"
#include "platform/sim/VirtualTime.h"

#include <deque>
#include <stdexcept>

#include <fmt/format.h>
#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace lingrelay {

namespace {

using Strings = std::vector<std::string>;

/// A source of frames in the shape of a streaming connection, for tests of tasks.
class Frames {
public:
    void push(std::string frame)
    {
        m_queue.push_back(std::move(frame));
        m_arrived.set();
    }
    void fail()
    {
        m_failed = true;
        m_arrived.set();
    }

    /// The next frame. Throws std::runtime_error once the source has failed.
    Task<std::string> next()
    {
        while (m_queue.empty() && !m_failed) {
            m_arrived.reset();
            co_await m_arrived.wait();
        }
        if (m_queue.empty())
            throw std::runtime_error("lost");
        auto frame = std::move(m_queue.front());
        m_queue.pop_front();
        co_return frame;
    }

private:
    bool m_failed = false;
    std::deque<std::string> m_queue;
    Event m_arrived;
};

/// Writes frames down until cancelled, and "quiet" after every `quiet` without one.
Task<void> writeDown(Frames& frames, Duration quiet, std::function<void(std::string)> log)
{
    try {
        for (;;) {
            auto frame = co_await withTimeout(quiet, frames.next());
            log(frame ? "frame " + *frame : std::string("quiet"));
        }
    } catch (Cancelled) {
        log("cancelled");
        throw;
    } catch (std::exception const& error) {
        log(error.what());
    }
}

/// Virtual time with one scheduler and a trace whose lines carry milliseconds.
struct Bench {
    explicit Bench(std::optional<std::uint32_t> seed = {}) : time(seed) { }

    std::function<void(std::string)> log()
    {
        return [this](std::string const& text) {
            lines.push_back(fmt::format("{} {}",
                std::chrono::duration_cast<std::chrono::milliseconds>(time.now().time_since_epoch()).count(), text));
        };
    }

    VirtualTime time;
    VirtualScheduler scheduler{time};
    TaskGroup group{scheduler};
    Strings lines;
};

Strings runFrames(std::optional<std::uint32_t> seed = {})
{
    Bench bench(seed);
    Frames frames;
    bench.group.spawn(writeDown(frames, 5s, bench.log()));
    bench.time.advance(7s);
    frames.push("a");
    bench.time.advance(4s);
    frames.push("b");
    bench.time.advance(1h);
    bench.group.cancel();
    bench.time.runReady();
    EXPECT_EQ(bench.group.running(), 0);
    EXPECT_TRUE(bench.time.idle()); // a lost race leaves no timer
    return bench.lines;
}

TEST(Task, timeoutsAndFramesKeepTimeAndOrder)
{
    auto const lines = runFrames();
    ASSERT_EQ(lines.size(), 3u + 720 + 1);
    EXPECT_EQ(Strings(lines.begin(), lines.begin() + 4),
        (Strings{"5000 quiet", "7000 frame a", "11000 frame b", "16000 quiet"}));
    EXPECT_EQ(lines.back(), "3611000 cancelled");
    for (std::uint32_t seed = 0; seed < 50; ++seed)
        ASSERT_EQ(runFrames(seed), lines) << seed;
}

TEST(Task, errorEndsTheRaceAtOnce)
{
    Bench bench;
    Frames frames;
    bench.group.spawn(writeDown(frames, 5s, bench.log()));
    bench.time.advance(1s);
    frames.fail();
    bench.time.runReady();
    EXPECT_EQ(bench.lines, Strings{"1000 lost"});
    EXPECT_TRUE(bench.time.idle());
}

TEST(Task, frameThatArrivesWithTheTimeoutIsKept)
{
    for (std::uint32_t seed = 0; seed < 200; ++seed) {
        Bench bench(seed);
        VirtualScheduler other(bench.time);
        Frames frames;
        bench.group.spawn(writeDown(frames, 5s, bench.log()));
        bench.time.runReady();
        other.startTimer(other.now() + 5s, [&] { bench.scheduler.post([&] { frames.push("a"); }); });
        bench.scheduler.startTimer(other.now() + 5s, [&] { frames.push("b"); });
        bench.time.advance(8s);
        EXPECT_EQ(std::count_if(bench.lines.begin(), bench.lines.end(),
                      [](auto& line) { return line.find("frame") != line.npos; }),
            2)
            << seed;
        bench.group.cancel();
        bench.time.runReady();
    }
}

Task<int> logsItsEnd(Duration time, std::function<void(std::string)> log)
{
    try {
        co_await sleep(time);
    } catch (Cancelled) {
        log("loser ends");
        throw;
    }
    co_return 7;
}

Task<void> logsTheRace(Duration limit, std::function<void(std::string)> log)
{
    auto const outcome = co_await race(sleepFor(limit), logsItsEnd(3s, log));
    log(outcome.index() == 0 ? "time" : fmt::format("value {}", std::get<1>(outcome)));
}

TEST(Race, returnsTheWinnerAfterTheLoserHasEnded)
{
    Bench bench;
    bench.group.spawn(logsTheRace(2s, bench.log()));
    bench.time.advance(10s);
    EXPECT_EQ(bench.lines, (Strings{"2000 loser ends", "2000 time"}));
    bench.lines.clear();
    bench.group.spawn(logsTheRace(9s, bench.log()));
    bench.time.advance(10s);
    EXPECT_EQ(bench.lines, Strings{"13000 value 7"});
    EXPECT_TRUE(bench.time.idle());
}

Task<void> stubborn(std::function<void(std::string)> log)
{
    for (int i = 0; i < 2; ++i) {
        try {
            co_await sleep(1s);
        } catch (Cancelled) {
            log("cancelled");
        }
    }
}

Task<void> joins(TaskGroup& group, std::function<void(std::string)> log)
{
    co_await group.join();
    log("joined");
}

TEST(TaskGroup, cancelReachesTasksNotYetStartedAndThoseThatWaitAgain)
{
    Bench bench;
    TaskGroup inner(bench.scheduler);
    inner.spawn(stubborn(bench.log()));
    bench.group.spawn(joins(inner, bench.log()));
    inner.cancel();
    bench.time.runReady();
    EXPECT_EQ(bench.lines, (Strings{"0 cancelled", "0 cancelled", "0 joined"}));
    EXPECT_EQ(inner.running(), 0);
}

/// A wait that was woken, but whose group is cancelled before it goes on, takes nothing.
TEST(TaskGroup, cancelWinsAgainstAWakeOfTheSameInstant)
{
    Bench bench;
    Frames frames;
    bench.group.spawn(writeDown(frames, 5s, bench.log()));
    bench.time.runReady();
    frames.push("a");
    bench.group.cancel();
    bench.time.runReady();
    EXPECT_EQ(bench.lines, Strings{"0 cancelled"});
    EXPECT_EQ(bench.group.running(), 0);
}

Task<void> takesOne(OneShot<std::string> shot, std::function<void(std::string)> log)
{
    auto const value = co_await withTimeout(2s, shot.take());
    log(value ? *value : "none");
}

TEST(OneShot, carriesTheFirstValueBeforeOrAfterTheWaitAndSurvivesTheWaiter)
{
    Bench bench;
    OneShot<std::string> early;
    OneShot<std::string> late;
    OneShot<std::string> tooLate;
    early.set("early");
    early.set("second");
    bench.group.spawn(takesOne(early, bench.log()));
    bench.time.runReady();
    bench.group.spawn(takesOne(late, bench.log()));
    bench.time.advance(1s);
    late.set("late");
    bench.time.runReady();
    bench.group.spawn(takesOne(tooLate, bench.log()));
    bench.time.advance(3s);
    tooLate.set("too late");
    bench.time.runReady();
    EXPECT_EQ(bench.lines, (Strings{"0 early", "1000 late", "3000 none"}));
    EXPECT_TRUE(bench.time.idle());
}

Task<std::size_t> applyLater(std::function<std::size_t()> function)
{
    co_await sleep(1s);
    co_return function();
}

Task<void> awaitsWithANamedLambda(std::shared_ptr<std::string> value)
{
    auto const function = [value] { return value->size(); };
    auto const size = co_await applyLater(function);
    EXPECT_EQ(size, 4u);
}

TEST(Task, whatATaskHeldIsReleasedAtItsEnd)
{
    Bench bench;
    auto const value = std::make_shared<std::string>("kept");
    bench.group.spawn(awaitsWithANamedLambda(value));
    {
        auto const neverStarted = awaitsWithANamedLambda(value);
    }
    EXPECT_EQ(value.use_count(), 2);
    bench.time.advance(2s);
    EXPECT_EQ(value.use_count(), 1);
}

} // namespace

} // namespace lingrelay
