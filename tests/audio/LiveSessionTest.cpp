#include "audio/AudioCapture.h"
#include "audio/MicCapture.h"
#include "platform/sim/SimSoundServer.h"
#include "tests/platform/pipewire/AudioListeners.h"
#include "tests/support/Desk.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Id = SimSoundServer::Id;
using Mode = AppSettings::Mode;

constexpr double callTone = 440; ///< what the other side says
constexpr double userTone = 1000;
constexpr char listenVoice = '\x20'; ///< a constant of 0.25
constexpr char speakVoice = '\x10'; ///< of 0.125

double mostOf(std::vector<float> const& samples)
{
    return samples.empty() ? 0 : static_cast<double>(*std::max_element(samples.begin(), samples.end()));
}

/// The program on a simulated machine: speakers, a microphone, the virtual pair and a call.
class LiveSessionTest : public testing::TestWithParam<std::uint32_t>, protected Desk {
protected:
    LiveSessionTest() : Desk(GetParam())
    {
        sound.virtualMicrophone().install();
        wait(0.2);
        pair = AudioDevices::virtualDevice(sound.devices().inputs())->id;
        sound.setDefaultInput(microphone);
        sound.hear(microphone, SimSoundServer::tone(userTone));
        voice.plan = [](std::string const& text, int) {
            return VoiceServer::Plan{.fill = text.starts_with("For me") ? listenVoice : speakVoice};
        };
    }
    void TearDown() override { end(); }
    void launch(Change const& change = [](auto&) {})
    {
        set([&](AppSettings& settings) {
            settings.myLang = "es";
            settings.theirLang = "de";
            settings.mode = Mode::both;
            settings.autoRouteMic = true;
            change(settings);
        });
        begin({
            .sound = machineSound(sound),
            .listenOutputs = sound.outputs(),
            .speakOutputs = sound.outputs(),
            .overlay = overlay,
            .shell = shell,
            .ptt = key,
            .workspace = workspace,
        });
    }
    /// Of the listen (0) or the speak recogniser (1).
    std::shared_ptr<SimPeer> peer(std::size_t index)
    {
        for (auto const& recogniser : recognisers) {
            auto const found = recogniser.lock();
            auto const translation = R"("target_language":")" + std::string(index == 0 ? "es" : "de");
            if (found && found->frames.at(0).data.find(translation) != std::string::npos)
                return found;
        }
        return {};
    }
    /// What that one has got since the last call.
    std::vector<float> sent(std::size_t index)
    {
        std::string pcm;
        auto const blocks = peer(index)->data(SimPeer::Kind::binary);
        for (auto i = std::exchange(m_seen[index], blocks.size()); i < blocks.size(); ++i)
            pcm += blocks[i];
        return samplesOf(pcm);
    }
    void say(std::size_t index, std::string const& source, std::string const& translation)
    {
        peer(index)->sendText(clause(source, translation));
    }

    SimSoundServer sound{world.background};
    Id speakers = sound.add({.name = "Speakers", .outputChannels = 2});
    Id microphone = sound.add({.name = "Built-in Microphone", .inputChannels = 1, .rate = 44100, .builtIn = true});
    Id pair = 0;

private:
    std::size_t m_seen[2] = {};
};

TEST_P(LiveSessionTest, eachDirectionHearsAndSpeaksWhereItShould)
{
    auto const call = sound.play(SimSoundServer::tone(callTone));
    launch();
    sound.take(speakers);
    wait(0.5);
    EXPECT_NEAR(fitTone(sound.take(speakers), callTone, 48000).level, 0.5, 0.01);
    HeardSound callProgram(48000); // takes it for its microphone
    auto const callInput = sound.inputs().open(pair, {48000, 1}, 480, callProgram);
    start(1);
    EXPECT_EQ(sound.devices().defaultInput(), pair);
    EXPECT_FALSE(sound.heardOn(call));
    sent(0);
    sent(1);
    sound.take(speakers);
    callProgram.take();

    say(0, "What they say.", "For me.");
    say(1, "What I say.", "For them.");
    wait(3);
    auto const captured = sent(0);
    auto const spoken = sent(1);
    EXPECT_EQ(captured.size(), 48000U);
    EXPECT_NEAR(static_cast<double>(spoken.size()), 48000, 800);
    auto const call16 = fitTone(captured, callTone, 16000);
    EXPECT_NEAR(call16.level, 0.5, 0.005);
    EXPECT_LT(call16.rest, 0.001) << "our own voice is not in it";
    auto const user16 = fitTone(spoken, userTone, 16000);
    EXPECT_NEAR(user16.level, 0.5, 0.005);
    EXPECT_LT(user16.rest, 0.001);
    EXPECT_NEAR(mostOf(sound.take(speakers)), 0.251, 0.01) << "the listen voice, and the call no more";
    EXPECT_NEAR(mostOf(callProgram.take()), 0.1255, 0.005) << "the speak voice alone";

    stop(0.5);
    EXPECT_EQ(sound.devices().defaultInput(), microphone);
    EXPECT_EQ(sound.heardOn(call), speakers);
    EXPECT_EQ(sound.inputsRunning(), 1U) << "the call program's";
}

TEST_P(LiveSessionTest, theMicrophoneIsShutWhileOurVoiceIsInTheRoom)
{
    launch([](auto& settings) { settings.echoGuard = true; });
    sound.hear(microphone, {});
    sound.hearPlayed(microphone, speakers, 0.5F);
    start(1);
    sent(1);
    say(0, "What they say.", "For me.");
    double echo = 0;
    double loudest = 0;
    std::size_t samples = 0;
    for (int i = 0; i < 60; ++i) {
        wait(0.05);
        auto const heard = sent(1);
        samples += heard.size();
        echo = std::max(echo, mostOf(heard));
        loudest = std::max(loudest, mostOf(sound.take(speakers)));
    }
    EXPECT_NEAR(loudest, 0.251, 0.01);
    EXPECT_LT(echo, 0.001);
    EXPECT_LT(samples, 48000U - 16000U) << "for the second that it takes, it is shut";
    EXPECT_GT(samples, 16000U) << "and open again";
    sound.hear(microphone, SimSoundServer::tone(userTone));
    wait(1);
    EXPECT_GT(sent(1).size(), 15000U);
    EXPECT_GT(*model->micLevel, 0.3);
    EchoGuard::shared().bump(5);
    wait(2);
    EXPECT_LT(*model->micLevel, 0.001) << "a meter shows what is heard, not what was";
}

TEST_P(LiveSessionTest, aSessionOutlivesTheLossOfItsSound)
{
    sound.play(SimSoundServer::tone(callTone));
    launch();
    start(1);
    sound.stopServer();
    wait(3);
    auto const& shown = overlay.statuses;
    EXPECT_NE(std::find(shown.begin(), shown.end(), "⚠ Capture stopped: The sound server is gone"), shown.end());
    EXPECT_NE(std::find(shown.begin(), shown.end(), "⚠ Microphone: Microphone: The sound server is gone"), shown.end());
    EXPECT_TRUE(*model->running);
    sound.startServer();
    sound.setDefaultOutput(pair); // no other output has come back yet
    wait(1);
    sent(0);
    sent(1);
    say(0, "What they say.", "For me.");
    say(1, "What I say.", "For them.");
    HeardSound callProgram(48000); // takes it for its microphone
    auto const callInput = sound.inputs().open(pair, {48000, 1}, 480, callProgram);
    sound.take(speakers);
    wait(3);
    EXPECT_NEAR(static_cast<double>(sent(0).size()), 48000, 200);
    EXPECT_NEAR(static_cast<double>(sent(1).size()), 48000, 800);
    EXPECT_NEAR(mostOf(sound.take(speakers)), 0.251, 0.01);
    EXPECT_NEAR(mostOf(callProgram.take()), 0.1255, 0.005);
    stop(0.5);
    EXPECT_EQ(sound.devices().defaultInput(), microphone);
}

TEST_P(LiveSessionTest, withoutAMicrophoneTheOtherDirectionRuns)
{
    sound.virtualMicrophone().remove();
    sound.unplug(microphone);
    sound.play(SimSoundServer::tone(callTone));
    launch();
    shell.answer = false; // to the offer of the virtual microphone
    start(1);
    EXPECT_GT(sent(0).size(), 8000U);
    EXPECT_TRUE(sent(1).empty());
    auto const& shown = overlay.statuses;
    EXPECT_NE(std::find(shown.begin(), shown.end(), "⚠ Microphone: Could not open the microphone"), shown.end());
    sound.plug(microphone);
    wait(1);
    EXPECT_GT(sent(1).size(), 14000U);
    stop(0.5);
    EXPECT_EQ(sound.inputsRunning(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Seeds, LiveSessionTest, testing::Range(1U, 11U));

} // namespace

} // namespace lingrelay
