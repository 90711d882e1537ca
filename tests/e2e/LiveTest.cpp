#include "tests/e2e/ScriptedService.h"
#include "tests/support/SoundServer.h"

#include <csignal>

#include <gtest/gtest.h>

using namespace lingrelay;

namespace {

constexpr double voiceTone = 440; ///< the scripted voice
constexpr double otherTone = 1000; ///< another program
constexpr char const* virtualSource = "Lingrelay.source";

/// The program as a user starts it in the middle of a call, on a sound server of the test's own.
class LiveTest : public testing::Test, protected ScriptedService {
protected:
    void SetUp() override { ASSERT_TRUE(server.start()); }

    Words live() const { return {"XDG_DATA_HOME=" + folder / "data", "LINGRELAY_SERVICE=" + folder / "service"}; }
    /// Runs with events; `words` come behind the program's name.
    std::unique_ptr<Program> start(Words words) const
    {
        words.insert(words.begin(), LINGRELAY_CLI);
        // Before those of the test.
        for (auto const* setting : {"sourceLang=en", "targetLang=es", "myLang=en", "theirLang=es"})
            words.insert(words.begin() + 2, {"--set", setting});
        words.insert(words.end(), {"--events", "json"});
        return std::make_unique<Program>(words, live());
    }
    int command(Words words) const
    {
        words.insert(words.begin(), LINGRELAY_CLI);
        Program program(words, live());
        return program.wait();
    }
    Json devices() const
    {
        Program program({LINGRELAY_CLI, "devices", "--json"}, live());
        EXPECT_EQ(program.wait(), 0) << program.errors();
        return parseJson(program.output()).value_or(Json());
    }
    static Json const* device(Json const& list, std::string const& name)
    {
        for (auto const& each : list) {
            if (each.at("name") == name)
                return &each;
        }
        return nullptr;
    }

    SoundServer server;
};

TEST_F(LiveTest, theOtherSideIsSilencedTranslatedAndHeardAgain)
{
    // Long clips, so that there is time to measure them.
    auto voice = toneVoice();
    voice[0]["steps"][0]["tone_ms"] = 4000;
    script({{"stt", {steps({clauseAt(1500, "Good morning.", "Buenos días.")})}}, {"tts", voice}});
    auto const other = server.play({otherTone});
    auto const speakers = server.listen(SoundServer::speakers);
    EXPECT_TRUE(speakers->hears(otherTone, 0.5));
    // What is heard does not go where the user's own voice goes.
    ASSERT_EQ(command({"devices", "install-virtual"}), 0);
    auto const program
        = start({"translate", "--mode", "listen", "--set", "muteOriginal=true", "--speakers", "Lingrelay"});
    ASSERT_TRUE(program->waitForEvent("line")) << program->errors();
    EXPECT_TRUE(speakers->hears(otherTone, 0)) << "the original is silent";
    EXPECT_TRUE(eventually([&] { return speakers->level(voiceTone).value_or(0) > 0.05; })) << "the voice is heard";
    program->signal(SIGINT);
    EXPECT_EQ(program->wait(), 0) << program->errors();
    EXPECT_TRUE(speakers->hears(otherTone, 0.5)) << "and given back";
    EXPECT_NE(program->errors().find("\"Lingrelay\" is the microphone for calls"), std::string::npos);
    EXPECT_EQ(only(program->events(), "line")[0]["direction"], "listen");
}

TEST_F(LiveTest, theUsersVoiceGoesIntoTheVirtualMicrophone)
{
    ASSERT_EQ(command({"devices", "install-virtual"}), 0);
    auto voice = toneVoice();
    voice[0]["steps"][0]["tone_ms"] = 4000;
    script({{"stt", {steps({clauseAt(1000, "Good morning.", "Buenos días.")})}}, {"tts", voice}});
    auto const before = server.defaultNode("default.audio.source");
    auto const speakers = server.listen(SoundServer::speakers);
    auto const call = server.listen("Lingrelay");
    auto const program = start({"translate", "--mode", "speak", "--set", "autoRouteMic=true"});
    ASSERT_TRUE(program->waitForEvent("speech")) << program->errors();
    EXPECT_TRUE(eventually([&] { return call->level(voiceTone).value_or(0) > 0.05; })) << "the other side hears it";
    EXPECT_LT(speakers->level(voiceTone).value_or(0), 0.001) << "the user does not";
    EXPECT_EQ(server.defaultNode("default.audio.source"), virtualSource) << "call programs take it by themselves";
    program->signal(SIGKILL);
    EXPECT_TRUE(eventually([&] { return server.defaultNode("default.audio.source") == before; }));
    EXPECT_EQ(command({"devices", "remove-virtual"}), 0);
    EXPECT_FALSE(device(devices().at("outputs"), "Lingrelay"));
}

TEST_F(LiveTest, aLineIsSpokenWithoutASession)
{
    script(Json::object());
    auto const program = start({"say", "Good", "day", "--set", "theirLang=en", "--output", folder / "voice.wav"});
    EXPECT_EQ(program->wait(), 0) << program->errors();
    EXPECT_EQ(only(program->events(), "line")[0]["translation"], "Good day");
    EXPECT_GT(std::filesystem::file_size(folder / "voice.wav"), 20000U) << "half a second at 24 kHz";
    EXPECT_TRUE(only(program->events(), "session").empty());

    script({{"tts", {{{"accept", {{"http_status", 503}}}}}}});
    auto const failing = start({"test-voice"});
    EXPECT_EQ(failing->wait(), 1);
    EXPECT_NE(failing->errors().find("Test voice failed: "), std::string::npos) << failing->errors();
}

TEST_F(LiveTest, devicesAreListedWithWhatSoundsThere)
{
    auto const other = server.play({otherTone, SoundServer::headset});
    auto const headset = server.listen(SoundServer::headset);
    ASSERT_TRUE(headset->hears(otherTone, 0.5));
    auto const list = devices();
    int defaults = 0;
    for (auto const& output : list.at("outputs")) {
        defaults += output.at("default").get<bool>();
        EXPECT_NEAR(output.at("level").get<double>(), output.at("name") == "Lab Headset" ? 0.5 : 0, 0.01) << output;
    }
    EXPECT_EQ(defaults, 1);
    server.stop();
    EXPECT_EQ(command({"devices"}), 1) << "no server is told, not an empty list";
}

} // namespace
