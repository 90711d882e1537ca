#include "platform/linux/qt/QtScheduler.h"
#include "tests/platform/SchedulerContract.h"

#include <QEventLoop>
#include <QTimer>

#include <thread>

namespace lingrelay {

namespace {

struct QtFixture final : LoopFixture {
    QEventLoop loop;
    QtScheduler own;
    Scheduler& scheduler() override { return own; }
    void run() override { loop.exec(); }
    void quit() override { loop.quit(); }
};

INSTANTIATE_TEST_SUITE_P(Qt, SchedulerContract, testing::Values(std::pair{"loop", &make<QtFixture>}),
    [](auto const& test) { return std::string(test.param.first); });

TEST(QtScheduler, aFloodOfJobsLeavesRoomForTheEventsOfTheWindow)
{
    QtScheduler scheduler;
    QEventLoop loop;
    int done = 0;
    int doneAtEvent = -1;
    for (int i = 0; i < 40; ++i) {
        scheduler.post([&] {
            std::this_thread::sleep_for(2ms);
            if (++done == 40)
                loop.quit();
        });
    }
    QTimer::singleShot(0, [&] { doneAtEvent = done; });
    loop.exec();
    EXPECT_EQ(done, 40);
    EXPECT_GE(doneAtEvent, 0);
    EXPECT_LT(doneAtEvent, 10);
}

TEST(QtScheduler, timersFireInALoopThatATimerRuns)
{
    QtScheduler scheduler;
    QEventLoop outer;
    QEventLoop inner;
    bool fired = false;
    auto const begin = scheduler.now();
    scheduler.startTimer(begin + 20ms, [&] { fired = true; });
    scheduler.startTimer(begin + 30ms, [&] { inner.quit(); });
    scheduler.startTimer(begin + 10ms, [&] {
        QTimer::singleShot(5s, &inner, &QEventLoop::quit);
        inner.exec();
        outer.quit();
    });
    outer.exec();
    EXPECT_TRUE(fired);
}

TEST(QtScheduler, jobsAndTimersOfOtherThreadsRunOnMain)
{
    QtScheduler scheduler;
    QEventLoop loop;
    auto const main = std::this_thread::get_id();
    int runs = 0;
    auto const count = [&] {
        EXPECT_EQ(std::this_thread::get_id(), main);
        if (++runs == 200)
            loop.quit();
    };
    std::thread other([&] {
        for (int i = 0; i < 100; ++i) {
            scheduler.post(count);
            scheduler.startTimer(scheduler.now() + std::chrono::microseconds(100 * (i % 7)), count);
        }
    });
    loop.exec();
    other.join();
    EXPECT_EQ(runs, 200);
}

} // namespace

} // namespace lingrelay
