#include "speech/TTSPlayer.h"
#include "audio/EchoGuard.h"
#include "base/Registry.h"
#include "platform/sim/SimAudio.h"
#include "platform/sim/VirtualTime.h"
#include "tests/support/RealtimeGuard.h"

#include <numeric>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

class TTSPlayerTest : public testing::Test {
protected:
    static std::string pcm(std::size_t samples, std::int16_t value)
    {
        std::vector<std::int16_t> const block(samples, value);
        return {reinterpret_cast<char const*>(block.data()), samples * 2};
    }
    void openAt(double rate) { m_outputs.rates[1] = rate; }

    VirtualTime m_time;
    VirtualScheduler m_background{m_time};
    Registry m_registry;
    EchoGuard& m_guard = m_registry.put(std::make_shared<EchoGuard>(m_background));
    SimAudioOutputs m_outputs;
    std::shared_ptr<TTSPlayer> m_player = TTSPlayer::create(m_outputs, m_background, m_background);
};

TEST_F(TTSPlayerTest, theFirstSoundFadesInFromZeroOverFiveMilliseconds)
{
    for (auto const& [rate, ramp] : std::map<double, std::size_t>{{48000, 240}, {8000, 48}}) {
        openAt(rate);
        m_player->rebuild();
        m_player->enqueuePCM(pcm(2000, 16384), rate, false);
        auto const heard = m_outputs.pull(1000);
        EXPECT_EQ(heard[0], 0);
        EXPECT_NEAR(heard[ramp / 2], 0.25, 0.01) << rate;
        EXPECT_LT(heard[ramp - 1], 0.5);
        EXPECT_EQ(heard[ramp], 0.5F);
        EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end()));
    }
}

TEST_F(TTSPlayerTest, aCutOffClipDecaysToSilence)
{
    openAt(24000);
    m_player->enqueuePCM(pcm(500, 16384), 24000, false);
    m_outputs.pull(500);
    auto const tail = m_outputs.pull(2000);
    EXPECT_NEAR(tail[0], 0.5 * 0.98, 1e-6);
    EXPECT_TRUE(std::is_sorted(tail.rbegin(), tail.rend()));
    EXPECT_EQ(tail.back(), 0) << "and no denormals for ever";
}

TEST_F(TTSPlayerTest, runningDryInsideAClipCountsOnceAndTheEndOfAClipNever)
{
    int told = 0;
    m_player->onUnderrun = [&] { ++told; };
    openAt(24000);
    m_player->enqueuePCM(pcm(100, 1000), 24000, false);
    m_outputs.pull(200);
    EXPECT_EQ(m_player->underruns(), 0);

    m_player->setClipStreaming(true);
    m_outputs.pull(200);
    EXPECT_EQ(m_player->underruns(), 0) << "it was starved before the clip began";
    m_player->enqueuePCM(pcm(100, 1000), 24000, false);
    m_outputs.pull(200);
    m_outputs.pull(200);
    EXPECT_EQ(m_player->underruns(), 1);
    m_player->setClipStreaming(false);
    m_time.advance(seconds(1));
    EXPECT_EQ(told, 1);
    m_time.advance(seconds(60));
    EXPECT_TRUE(m_time.idle()) << "reports end with the sound";
}

TEST_F(TTSPlayerTest, onlyDroppableSpeechIsCutToEightSecondsAndFadesInAgain)
{
    openAt(24000);
    for (int i = 0; i < 10; ++i)
        m_player->enqueuePCM(pcm(24000, static_cast<std::int16_t>(1000 * i)), 24000, false);
    m_outputs.pull(300);
    EXPECT_NEAR(m_player->queuedSeconds(), 10 - 300 / 24000.0, 1e-9);
    m_player->enqueuePCM(pcm(2400, 1), 24000, true);
    EXPECT_NEAR(m_player->queuedSeconds(), 8.1, 1e-9);
    auto const heard = m_outputs.pull(300);
    EXPECT_EQ(heard[0], 0) << "fades in without having starved";
    EXPECT_NEAR(heard[299], 2000 / 32768.0F, 1e-6) << "the newest eight seconds remain";
    EXPECT_EQ(m_player->underruns(), 0);
}

TEST_F(TTSPlayerTest, resamplesByLinearInterpolationOnlyWhenRatesDiffer)
{
    std::vector<std::int16_t> ramp(1000);
    std::iota(ramp.begin(), ramp.end(), static_cast<std::int16_t>(0));
    std::string const bytes(reinterpret_cast<char const*>(ramp.data()), 2000);
    auto const heardAt = [&](double rate) {
        openAt(rate);
        m_player->rebuild();
        m_player->enqueuePCM(bytes, 24000, false);
        return m_outputs.pull(static_cast<std::size_t>(m_player->queuedSeconds() * rate + 0.5));
    };
    EXPECT_EQ(heardAt(24000.4).size(), 1000U);
    auto const doubled = heardAt(48000);
    ASSERT_EQ(doubled.size(), 2000U);
    EXPECT_NEAR(doubled[801] * 32768, 400.5, 0.01);
    EXPECT_EQ(heardAt(44100).size(), 1837U);
    EXPECT_NEAR(heardAt(16000)[500] * 32768, 750, 0.01);
}

TEST_F(TTSPlayerTest, followsTheDefaultDeviceOnlyWithoutAFixedOne)
{
    m_outputs.rates = {{1, 48000}, {2, 16000}};
    m_outputs.changeDefault(2);
    m_time.runReady();
    EXPECT_EQ(m_outputs.running(), 0U) << "nothing was played yet";
    m_player->enqueuePCM(pcm(10, 1), 24000, false);
    EXPECT_EQ(m_player->rate(), 16000);
    m_outputs.changeDefault(1);
    m_time.runReady();
    EXPECT_EQ(m_outputs.runningDevice(), 1U);
    EXPECT_EQ(m_player->queuedSeconds(), 0) << "a route change drops what waited";
    m_player->setDevice(1);
    m_player->rebuild();
    m_outputs.changeDefault(2);
    m_time.runReady();
    EXPECT_EQ(m_outputs.runningDevice(), 1U);
}

TEST_F(TTSPlayerTest, withoutADeviceItStaysSilentAndBounded)
{
    m_outputs.defaultDevice = 0;
    for (int i = 0; i < 40; ++i)
        m_player->enqueuePCM(pcm(24000, 1), 24000, true);
    EXPECT_NEAR(m_player->queuedSeconds(), 9, 1e-3);
    m_outputs.rates[7] = 16000;
    m_outputs.defaultDevice = 7;
    m_player->enqueuePCM(pcm(24000, 1), 24000, true);
    EXPECT_NEAR(m_player->queuedSeconds(), 1, 1e-3) << "what waited was made for another rate";
    m_player->teardown();
    EXPECT_EQ(m_player->queuedSeconds(), 0);
}

TEST_F(TTSPlayerTest, whatADeviceThatIsAwayWouldHavePlayedIsNotKeptForItsReturn)
{
    openAt(24000);
    m_player->enqueuePCM(pcm(24000 * 30, 1), 24000, false);
    m_time.advance(seconds(1.9));
    EXPECT_NEAR(m_player->queuedSeconds(), 30, 0.01) << "an output may be slow to begin";
    m_time.advance(seconds(18.1));
    EXPECT_NEAR(m_player->queuedSeconds(), 10, 0.11);
    m_outputs.pull(2400);
    m_time.advance(seconds(1));
    EXPECT_NEAR(m_player->queuedSeconds(), 9.9, 0.11) << "it is there again";
    m_outputs.defaultDevice = 0;
    m_player->rebuild();
    m_player->enqueuePCM(pcm(24000 * 30, 1), 24000, false);
    m_time.advance(seconds(31));
    EXPECT_EQ(m_player->queuedSeconds(), 0);
    EXPECT_TRUE(m_time.idle());
}

TEST_F(TTSPlayerTest, holdsTheEchoGuardForWhatIsQueued)
{
    m_guard.setEnabled(true);
    m_player->enqueuePCM(pcm(48000, 1), 24000, false);
    EXPECT_FALSE(m_guard.blocks()) << "this player cannot be heard by the microphone";
    m_player->setGatesMic(true);
    m_player->enqueuePCM(pcm(24000, 1), 24000, false);
    m_time.advance(seconds(3.34));
    EXPECT_TRUE(m_guard.blocks());
    m_time.advance(seconds(0.02));
    EXPECT_FALSE(m_guard.blocks());
}

#ifndef LINGRELAY_SANITIZED
TEST_F(TTSPlayerTest, renderingNeverAllocatesAndTakesOneLock)
{
    m_player->onLevel = [](double) {};
    m_player->setClipStreaming(true);
    for (int i = 0; i < 20; ++i)
        m_player->enqueuePCM(pcm(1000, 1000), 24000, false);
    std::vector<float> out(256);
    int violations = 0;
    for (int i = 0; i < 400; ++i) { // across block borders, the end of the queue and level reports
        RealtimeGuard guard;
        m_player->render(out.data(), out.size());
        violations += guard.violations() - 1;
    }
    EXPECT_EQ(violations, 0);
    EXPECT_EQ(m_player->underruns(), 1);
}
#endif

} // namespace

} // namespace lingrelay
