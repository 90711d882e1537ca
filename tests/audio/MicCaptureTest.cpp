#include "audio/MicCapture.h"
#include "tests/audio/SoundWorld.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Id = SimSoundServer::Id;
using Texts = std::vector<std::string>;

class MicCaptureTest : public testing::Test, protected SoundWorld {
protected:
    void SetUp() override { watch(m_capture); }

    /// One microphone that hears this tone, and no other.
    bool hears(double frequency)
    {
        wait(0.1);
        heard();
        wait(1);
        auto const samples = heard();
        return std::abs(static_cast<int>(samples.size()) - 16000) < 800
            && std::abs(fitTone(samples, frequency, 16000).level - 0.5) < 0.01;
    }

    MicCapture m_capture{sound.inputs(), world.main};
};

TEST_F(MicCaptureTest, aToneStaysOneToneAcrossBlocksOfAnyFormat)
{
    struct Case {
        double rate;
        int channels;
        double level;
    };
    for (auto const& [rate, channels, level] :
        {Case{48000, 1, 0.5}, Case{44100, 2, 0.25}, Case{16000, 1, 0.5}, Case{96000, 3, 0.5 / 3}, Case{8000, 1, 0.5}}) {
        auto const device = sound.add({.name = "Input", .inputChannels = channels, .rate = rate});
        sound.hear(device, channels - 1, SimSoundServer::tone(440)); // the other channels are silent
        m_capture.setInputDevice(device);
        m_capture.start();
        wait(3);
        m_capture.stop();
        auto const samples = heard();
        auto const blocksIn = std::floor(3 * rate / 2048 + 1e-9);
        EXPECT_NEAR(static_cast<double>(samples.size()), blocksIn * 2048 * 16000 / rate, 80) << rate;
        // At the very start the converter rises from silence.
        auto const fit = fitTone(std::span(samples).subspan(800, 32000), 440, 16000);
        EXPECT_NEAR(fit.level, level, 0.001) << rate;
        EXPECT_LT(fit.rest, 0.0005) << rate;
        sound.unplug(device);
    }
}

TEST_F(MicCaptureTest, whatIsShutOutNeverReachesTheConverter)
{
    int heldBack = 0;
    m_capture.onHeldBack = [&] { ++heldBack; };
    m_capture.start();
    double const length = 15 * 2048 / 48000.0; // whole blocks, and whole quanta of the machine
    for (std::string const shutBy : {"mute", "guard", ""}) {
        sound.hear(mic, SimSoundServer::tone(440, 0.9F));
        m_capture.setMuted(shutBy == "mute");
        world.echoGuard.setEnabled(shutBy == "guard");
        world.echoGuard.bump(length - 0.3); // it holds 0.35 s longer, when it is on
        wait(length);
        EXPECT_EQ(blocks, shutBy.empty() ? 15 : 0);
        EXPECT_EQ(heldBack, shutBy.empty() ? 0 : 15) << "the meter is told";
        sound.hear(mic, {});
        m_capture.setMuted(false);
        wait(length);
        for (auto const sample : heard())
            EXPECT_TRUE(sample == 0 || shutBy.empty());
        blocks = heldBack = 0;
    }
}

TEST_F(MicCaptureTest, onlyAMicrophoneWithoutAChosenDeviceFollowsTheDefault)
{
    auto const other = sound.add({.name = "Headset", .inputChannels = 2, .rate = 44100});
    sound.hear(mic, SimSoundServer::tone(440));
    sound.hear(other, SimSoundServer::tone(700));
    wait(0);
    sound.setDefaultInput(other);
    wait(0.1);
    EXPECT_EQ(sound.inputsRunning(), 0U) << "it does not run";
    m_capture.start();
    EXPECT_TRUE(hears(700));
    sound.setDefaultInput(mic);
    EXPECT_TRUE(hears(440));
    m_capture.setInputDevice(other);
    EXPECT_TRUE(hears(700));
    m_capture.setInputDevice(mic);
    blocks = 0;
    wait(0.32);
    sound.setDefaultInput(other);
    wait(0.32);
    EXPECT_EQ(blocks, 15) << "a chosen one goes on";
    m_capture.setInputDevice({});
    EXPECT_TRUE(hears(700));
    m_capture.stop();
    m_capture.setInputDevice(mic);
    wait(1);
    EXPECT_EQ(sound.inputsRunning(), 0U) << "an idle one only keeps the choice";
    m_capture.start();
    EXPECT_TRUE(hears(440));
    EXPECT_EQ(errors, Texts());
}

TEST_F(MicCaptureTest, aMicrophoneThatWasMissingStartsWhenItAppears)
{
    sound.unplug(mic);
    m_capture.start();
    EXPECT_EQ(errors, Texts{"Could not open the microphone"});
    m_capture.stop();
    sound.plug(mic);
    wait(1);
    EXPECT_TRUE(pcm.empty()) << "the user has stopped";
    sound.unplug(mic);
    wait(0.1);
    world.language.setModelLanguage("vi");
    m_capture.start();
    EXPECT_EQ(errors.back(), "Không truy cập được micro");
    wait(10);
    sound.plug(mic);
    wait(1);
    EXPECT_NEAR(static_cast<double>(heard().size()), 16000, 800);
    EXPECT_EQ(errors.size(), 2U);
    m_capture.stop();
    sound.unplug(mic);
    sound.plug(mic);
    wait(1);
    EXPECT_TRUE(pcm.empty());
    m_capture.setInputDevice(99); // a choice that is gone does not become another
    m_capture.start();
    sound.unplug(mic);
    sound.plug(mic);
    wait(1);
    EXPECT_TRUE(pcm.empty());
    m_capture.setInputDevice(mic);
    wait(1);
    EXPECT_FALSE(pcm.empty()) << "the user picks another after a start that failed";
}

TEST_F(MicCaptureTest, faultsAreToldAndARunningMicrophoneComesBack)
{
    sound.refuse(mic, {.message = "busy"});
    m_capture.start();
    EXPECT_EQ(errors, Texts{"Microphone: busy"});
    sound.accept(mic);
    m_capture.start();
    wait(1);
    EXPECT_FALSE(heard().empty());
    sound.refuse(mic, {.message = "lost"});
    world.language.setModelLanguage("vi");
    wait(1);
    EXPECT_EQ(errors, (Texts{"Microphone: busy", "Micro: lost"}));
    EXPECT_EQ(recoveries, 1);
    heard();
    sound.accept(mic);
    wait(1);
    EXPECT_FALSE(heard().empty());
    EXPECT_EQ(recoveries, 2);

    // A restart that fails leaves it meant to run: the next event takes it up again.
    m_capture.setInputDevice(99);
    EXPECT_EQ(errors.back(), "Không truy cập được micro");
    wait(1);
    EXPECT_TRUE(pcm.empty());
    m_capture.setInputDevice({});
    wait(1);
    EXPECT_FALSE(heard().empty());
    EXPECT_EQ(sound.inputsRunning(), 1U);
}

} // namespace

} // namespace lingrelay
