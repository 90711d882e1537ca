#include "audio/AudioCapture.h"
#include "audio/AudioMuter.h"
#include "tests/audio/SoundWorld.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Texts = std::vector<std::string>;

constexpr char const* noAudio = "No audio heard — is the screen locked, or is screen-recording permission off?";

/// Takes half a second to get to what is posted.
class BusyScheduler final : public Scheduler {
public:
    explicit BusyScheduler(Scheduler& scheduler) : m_scheduler(scheduler) { }

    Instant now() const override { return m_scheduler.now(); }
    Date date() const override { return m_scheduler.date(); }
    void post(Job job) override { m_scheduler.startTimer(now() + seconds(0.5), std::move(job)); }
    TimerId startTimer(Instant when, Job job) override { return m_scheduler.startTimer(when, std::move(job)); }
    void stopTimer(TimerId id) override { m_scheduler.stopTimer(id); }

private:
    Scheduler& m_scheduler;
};

class AudioCaptureTest : public testing::Test, protected SoundWorld {
protected:
    void SetUp() override { watch(*m_capture); }
    void TearDown() override
    {
        m_capture.reset();
        wait(1);
    }

    BusyScheduler m_background{world.background};
    std::unique_ptr<AudioCapture> m_capture = std::make_unique<AudioCapture>(sound.systemAudio(), m_background);
};

/// What this program plays must not come back to the recogniser.
class OwnVoice final : public AudioRenderer {
    void render(float* out, std::size_t frames) override { std::fill_n(out, frames, 0.25F); }
};

TEST_F(AudioCaptureTest, otherProgramsAreHeardWithoutOurOwnVoiceAndOnceOnly)
{
    OwnVoice voice;
    auto const output = sound.outputs().open({}, voice);
    sound.play(SimSoundServer::tone(440));
    m_capture->start();
    wait(2);
    EXPECT_GT(levelOf(sound.take(speakers)), -8) << "both are played";
    auto const fit = fitTone(samplesOf(pcm), 440, 16000);
    EXPECT_NEAR(fit.level, 0.5, 0.001);
    EXPECT_LT(fit.rest, 0.0001);
    EXPECT_EQ(heard().size(), 32000U) << "no gap";
    for (int i = 0; i < 5; ++i) { // the last capture is still being closed
        m_capture->stop();
        m_capture->start();
        EXPECT_EQ(sound.inputsRunning(), 1U) << "never two threads that call";
    }
    wait(1.5);
    EXPECT_EQ(heard().size(), 16000U);
    m_capture->stop();
    m_capture->stop();
    wait(1);
    EXPECT_TRUE(pcm.empty());
    EXPECT_EQ(sound.inputsRunning(), 0U);
    m_capture->start();
    m_capture->stop();
    m_capture.reset();
    EXPECT_EQ(sound.inputsRunning(), 0U) << "nothing is left that could call what is gone";
}

TEST_F(AudioCaptureTest, theWatchdogComplainsOnceForEachSilence)
{
    sound.freezeCapture();
    m_capture->start();
    wait(14.99);
    EXPECT_EQ(errors, Texts());
    wait(0.02);
    EXPECT_EQ(errors, Texts{noAudio});
    EXPECT_TRUE(world.logged("[cap] NO AUDIO for ~15s (frames=0)"));
    wait(60); // 75.01 s
    EXPECT_EQ(errors.size(), 1U);
    sound.freezeCapture(false); // blocks count, not loudness: nobody plays
    wait(1);
    sound.freezeCapture();
    wait(18.98); // the tick at 80 s saw new blocks
    EXPECT_EQ(errors.size(), 1U);
    wait(0.02);
    EXPECT_EQ(errors, (Texts{noAudio, noAudio}));
    EXPECT_EQ(recoveries, 1);
    EXPECT_TRUE(world.logged("[cap] NO AUDIO for ~15s (frames=100)"));
    sound.freezeCapture(false);
    wait(60);
    EXPECT_EQ(errors.size(), 2U);
    EXPECT_EQ(recoveries, 2);
}

TEST_F(AudioCaptureTest, theWatchdogBeginsAnewWithEachStartAndEndsWithTheStop)
{
    sound.freezeCapture();
    m_capture->start();
    wait(12);
    m_capture->stop();
    wait(20);
    EXPECT_EQ(errors, Texts());
    m_capture->start();
    wait(4);
    m_capture->start();
    wait(14.9);
    EXPECT_EQ(errors, Texts()) << "the first start's watchdog is gone";
    wait(0.2);
    EXPECT_EQ(errors, Texts{noAudio});
}

TEST_F(AudioCaptureTest, aStartThatFailsAndALossAreToldAndMended)
{
    sound.refuseCapture({.message = "not allowed"});
    m_capture->start();
    wait(15.1);
    EXPECT_EQ(errors, (Texts{"Screen capture: not allowed", noAudio}));
    EXPECT_TRUE(world.logged("[cap] START FAILED: not allowed"));
    sound.acceptCapture();
    wait(1);
    EXPECT_EQ(heard().size(), 16000U);
    world.language.setModelLanguage("vi");
    sound.stopServer();
    wait(1);
    EXPECT_EQ(errors.back(), "Thu âm dừng: The sound server is gone");
    EXPECT_TRUE(world.logged("[cap] STOPPED WITH ERROR: The sound server is gone"));
    auto const before = recoveries;
    sound.startServer();
    wait(1);
    EXPECT_EQ(recoveries, before + 1);
    EXPECT_EQ(heard().size(), 16000U);
    EXPECT_EQ(errors.size(), 3U);
    m_capture->stop();
    sound.stopServer();
    wait(20);
    EXPECT_EQ(errors.size(), 3U) << "what is stopped does not complain";
}

class AudioMuterTest : public testing::Test, protected SoundWorld {
protected:
    void start()
    {
        m_muter.start();
        wait(0);
    }

    AudioMuter m_muter{sound.muter(), world.main, world.background};
};

TEST_F(AudioMuterTest, otherProgramsAreSilencedAndHeardAgain)
{
    auto const program = sound.play(SimSoundServer::tone(440));
    m_muter.stop();
    m_muter.start();
    EXPECT_FALSE(sound.silenced()) << "main does not wait for the server";
    start();
    EXPECT_TRUE(sound.silenced());
    EXPECT_FALSE(sound.heardOn(program));
    m_muter.stop();
    m_muter.stop();
    wait(0);
    EXPECT_EQ(sound.heardOn(program), speakers);
}

TEST_F(AudioMuterTest, aRefusalIsToldAndLeavesThemAudible)
{
    m_muter.onError = [this](std::string const& message) { errors.push_back(message); };
    start();
    sound.muteFailure = {SoundMuter::Step::tap, -32};
    start();
    EXPECT_FALSE(sound.silenced()) << "nothing is left of the start before";
    sound.muteFailure = {SoundMuter::Step::device, 5};
    start();
    world.language.setModelLanguage("vi");
    start();
    sound.muteFailure = {SoundMuter::Step::tap, 0};
    start();
    EXPECT_EQ(errors,
        (Texts{"Could not mute the original audio (tap error -32)",
            "Could not mute the original audio (device error 5)", "Không tắt được tiếng gốc (lỗi thiết bị 5)",
            "Không tắt được tiếng gốc (lỗi tap 0)"}));
    sound.muteFailure.reset();
    start();
    EXPECT_TRUE(sound.silenced());
}

} // namespace

} // namespace lingrelay
