#include "platform/linux/AsioScheduler.h"
#include "tests/base/async/Frames.h"

#include <algorithm>
#include <array>
#include <thread>

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace lingrelay {

namespace {

/// The tasks of the virtual tests on worker threads: 8 groups on 4 threads, for the sanitizers too.
TEST(TaskPool, tasksOnThreadsLoseNothing)
{
    std::array<AsioRuntime, 4> runtimes;
    struct Link {
        std::unique_ptr<Scheduler> scheduler;
        std::unique_ptr<TaskGroup> group;
        Frames frames;
        std::vector<std::string> lines;
        std::atomic<int> ended = 0;
    };
    std::vector<std::unique_ptr<Link>> links;
    for (int i = 0; i < 8; ++i) {
        auto& link = *links.emplace_back(std::make_unique<Link>());
        link.scheduler = runtimes[i % runtimes.size()].makeScheduler();
        link.group = std::make_unique<TaskGroup>(*link.scheduler);
        link.scheduler->post([&link] {
            link.group->spawn(
                writeDown(link.frames, 20ms, [&link](std::string line) { link.lines.push_back(std::move(line)); }));
        });
    }
    for (int n = 0; n < 200; ++n) {
        for (auto& link : links)
            link->scheduler->post([&link = *link, n] { link.frames.push(std::to_string(n)); });
        if (n % 50 == 49)
            std::this_thread::sleep_for(70ms);
    }
    for (auto& link : links)
        link->scheduler->post([&link = *link] { link.group->cancel(); });
    auto const done = [](Link const& link) { return link.ended.load() != 0; };
    for (auto const end = Clock::now() + 10s;
         Clock::now() < end && !std::all_of(links.begin(), links.end(), [&](auto& link) { return done(*link); });) {
        for (auto& link : links)
            link->scheduler->post([&link = *link] { link.ended = link.group->running() == 0; });
        std::this_thread::sleep_for(5ms);
    }
    for (auto& runtime : runtimes)
        runtime.stop();
    for (auto const& link : links) {
        EXPECT_TRUE(done(*link));
        auto const count = [&](std::string_view word) {
            return std::count_if(
                link->lines.begin(), link->lines.end(), [&](auto& line) { return line.starts_with(word); });
        };
        EXPECT_EQ(count("frame"), 200);
        EXPECT_GE(count("quiet"), 3);
        EXPECT_EQ(link->lines.back(), "cancelled");
    }
}

} // namespace

} // namespace lingrelay
