#include "cli/soundfiles/FileFeeder.h"

#include "platform/sim/VirtualTime.h"
#include "tests/support/SoundFiles.h"
#include "tests/support/TemporaryFolder.h"

#include <deque>

using namespace lingrelay;

namespace {

/// A recogniser's socket that a case opens, breaks and slows down. Sample values tell which part of the file they are.
class FakeTarget final : public AudioTarget {
public:
    struct Sent {
        Instant at;
        int connection;
        std::string pcm;
    };

    explicit FakeTarget(VirtualTime& time) : m_time(time) { }

    bool open() const override { return isOpen; }
    int connection() const override { return connections; }
    void send(std::string pcm, std::function<void()> sent) override
    {
        if (!isOpen)
            return;
        blocks.push_back({m_time.now(), connections, std::move(pcm)});
        if (sent)
            waiting.push_back(std::move(sent));
        takeMore(0);
    }
    void takeMore(int count)
    {
        takes += count;
        while (takes > 0 && !waiting.empty()) {
            --takes;
            auto const sent = std::move(waiting.front());
            waiting.pop_front();
            sent();
        }
    }
    void connect()
    {
        isOpen = true;
        ++connections;
    }
    void lose()
    {
        isOpen = false;
        waiting.clear(); // dropped without a word
    }
    /// Seconds of the file that a connection was given, from its first block on.
    double given(int connection) const
    {
        std::size_t bytes = 0;
        for (auto const& block : blocks)
            bytes += block.connection == connection ? block.pcm.size() : 0;
        return static_cast<double>(bytes) / 32000;
    }
    /// The place in the file of a block's first sample, in seconds.
    static double place(Sent const& block)
    {
        auto const low = static_cast<unsigned char>(block.pcm[0]);
        auto const high = static_cast<unsigned char>(block.pcm[1]);
        return (low | high << 8) * 160 / 16000.0;
    }

    bool isOpen = false;
    int connections = 0;
    int takes = 1'000'000; ///< blocks that the system still takes
    std::vector<Sent> blocks;
    std::deque<std::function<void()>> waiting;

private:
    VirtualTime& m_time;
};

class FileFeederTest : public testing::Test {
protected:
    ~FileFeederTest() override
    {
        feeder->stop();
        feeder.reset();
        time.runReady();
    }

    /// A file whose samples count up by one every 10 milliseconds.
    void feed(double length, Pace pace)
    {
        std::vector<float> samples(static_cast<std::size_t>(length * 16000));
        // One more than meant: floats between 0 and 1 are scaled by 32767, which cuts the value down.
        for (std::size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(i / 160 + 1) / 32767;
        writeSound(path, samples);
        feeder = std::make_shared<FileFeeder>(scheduler, target, std::move(*SoundFile::open(path)), pace);
        feeder->onEnd = [this](std::optional<Error> const&) { endedAt = time.now(); };
        feeder->start();
    }

    /// Where in the file the first block stands that a connection was given; far from any place without one.
    double firstPlace(int connection) const
    {
        auto const found = std::find_if(target.blocks.begin(), target.blocks.end(),
            [&](auto const& block) { return block.connection == connection; });
        return found == target.blocks.end() ? 1e9 : FakeTarget::place(*found);
    }

    TemporaryFolder folder;
    std::string path = folder / "sound.wav";
    VirtualTime time;
    VirtualScheduler scheduler{time};
    FakeTarget target{time};
    std::shared_ptr<FileFeeder> feeder;
    std::optional<Instant> endedAt;
};

TEST_F(FileFeederTest, realTimeWaitsForTheSocketAndThenKeepsTheClock)
{
    feed(2.05, Pace::realtime);
    time.advance(seconds(5.0));
    EXPECT_TRUE(target.blocks.empty());
    target.connect();
    auto const start = time.now();
    time.advance(seconds(10.0));
    ASSERT_EQ(target.blocks.size(), 21U);
    EXPECT_NEAR(target.given(1), 2.05, 1e-9);
    for (std::size_t i = 0; i < target.blocks.size(); ++i) {
        EXPECT_NEAR(toSeconds(target.blocks[i].at - start), 0.1 * static_cast<double>(i), 0.011);
        EXPECT_NEAR(FakeTarget::place(target.blocks[i]), 0.1 * static_cast<double>(i), 0.02);
    }
    ASSERT_TRUE(endedAt);
    EXPECT_NEAR(toSeconds(*endedAt - start), 2.05, 0.011);
}

TEST_F(FileFeederTest, realTimeLosesTheSoundOfAnOutage)
{
    target.connect();
    feed(6, Pace::realtime);
    time.advance(seconds(2.0));
    target.lose();
    time.advance(seconds(2.0));
    target.connect();
    time.advance(seconds(5.0));
    EXPECT_NEAR(target.given(1), 2.0, 0.11);
    EXPECT_NEAR(target.given(2), 2.0, 0.11);
    EXPECT_NEAR(firstPlace(2), 4.0, 0.11);
    EXPECT_TRUE(endedAt);
}

TEST_F(FileFeederTest, fastHoldsBackWhileTheSystemTakesNothing)
{
    target.connect();
    target.takes = 10;
    feed(30, Pace::fast);
    time.advance(seconds(20.0));
    EXPECT_LE(target.given(1), 1.5); // what was taken and a few blocks more, far from the two seconds that get dropped
    EXPECT_FALSE(endedAt);
    target.takeMore(1000);
    time.advance(seconds(1.1));
    EXPECT_NEAR(target.given(1), 30, 1e-9);
    EXPECT_TRUE(endedAt);
}

TEST_F(FileFeederTest, fastGoesBackToWhatWasRecognisedForGood)
{
    target.connect();
    target.takes = 50;
    feed(10, Pace::fast);
    time.advance(seconds(1.0));
    feeder->noteProgress(1, 1000, 1500);
    feeder->noteProgress(1, 3200, 3300);
    feeder->noteProgress(1, 2000, 2000); // never goes back
    feeder->noteProgress(0, 9000, 9000); // of another connection
    target.lose();
    time.advance(seconds(3.0));
    EXPECT_NEAR(target.given(2), 0, 1e-9);
    target.connect();
    target.takeMore(20);
    time.advance(seconds(1.0));
    EXPECT_NEAR(firstPlace(2), 3.2, 0.02);

    // The next connection's progress counts from where that one began.
    feeder->noteProgress(2, 500, 900);
    target.lose();
    target.connect();
    target.takeMore(1000);
    time.advance(seconds(1.2));
    EXPECT_NEAR(firstPlace(3), 3.7, 0.02);
    EXPECT_NEAR(target.given(3), 6.3, 1e-9);
    EXPECT_TRUE(endedAt);
}

TEST_F(FileFeederTest, fastWithoutProgressGoesByWhatTextCame)
{
    target.connect();
    target.takes = 7;
    feed(3, Pace::fast);
    time.advance(seconds(1.0));
    target.lose(); // and nothing was heard of what it was given
    target.connect();
    target.takeMore(5 - target.takes);
    time.advance(seconds(0.1));
    EXPECT_NEAR(firstPlace(2), 0, 0.02);
    feeder->noteText(2);
    target.lose();
    target.connect();
    target.takeMore(1000);
    time.advance(seconds(1.2));
    EXPECT_NEAR(firstPlace(3), 0.5, 0.02); // the first block that was not taken
    EXPECT_NEAR(target.given(3), 2.5, 1e-9);
    EXPECT_TRUE(endedAt);
}

TEST_F(FileFeederTest, fastEndsOnceTheProviderHasLookedAtAllOrIsQuiet)
{
    target.connect();
    feed(10, Pace::fast);
    for (int step = 1; step <= 8; ++step) {
        time.advance(seconds(0.8)); // slow, but at work
        feeder->noteProgress(1, step * 1000, step * 1000 + 200);
        EXPECT_FALSE(endedAt);
    }
    // All was handed on, and yet a death now loses nothing.
    target.lose();
    time.advance(seconds(3.0));
    EXPECT_FALSE(endedAt);
    target.connect();
    time.advance(seconds(0.2));
    EXPECT_NEAR(target.given(2), 2.0, 1e-9);
    feeder->noteProgress(2, 0, 1000);
    time.advance(seconds(0.9));
    EXPECT_FALSE(endedAt);
    time.advance(seconds(0.2));
    EXPECT_TRUE(endedAt); // it said nothing more
}

} // namespace
