#include "tests/support/Desk.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Kind = AppModel::StatusKind;
using Texts = std::vector<std::string>;

class FeaturesTest : public testing::Test, protected Desk {
protected:
    /// `ownKey`: else keys come from a backend, which notes its calls.
    void launch(
        bool ownKey, Change const& change = [](auto&) {})
    {
        set([&](AppSettings& settings) {
            settings.mode = AppSettings::Mode::speak;
            settings.myLang = "en";
            settings.theirLang = "es";
            change(settings);
        });
        world.defaults.set("k.soniox", ownKey ? "key" : "");
        world.answerBackend([this](auto const& path) {
            return HttpResponse{200, {}, path == "translate" ? R"({"texts":["Hola."]})" : backendAnswer};
        });
        Desk::launch();
    }
    void TearDown() override { end(); }
    void type(std::string const& text, double length = 3)
    {
        model->commands.typeToSpeak(text, unspoken);
        wait(length);
    }

    Texts failed; ///< what each text could not speak of itself
    std::function<void(std::string const&)> const unspoken = [this](auto const& text) { failed.push_back(text); };
    std::string backendAnswer = World::session(600).body;
};

TEST_F(FeaturesTest, aTypedLineIsTranslatedShownKeptAndSpokenToTheOtherSide)
{
    devices.outputList.push_back({3, "Lingrelay"});
    launch(true);
    model->commands.typeToSpeak("  Hello.\n", unspoken);
    EXPECT_FALSE(*model->typing);
    wait(0.02);
    EXPECT_TRUE(*model->typing);
    wait(3);
    EXPECT_FALSE(*model->typing);
    EXPECT_EQ(calls, (Texts{"translate"})) << "the user's own key needs no session";
    EXPECT_EQ(voice.texts, (Texts{"Hola."}));
    EXPECT_EQ(overlay.captions, (Texts{"speak: Hola."}));
    EXPECT_EQ(*model->speakTranslated, "Hola.");
    ASSERT_EQ(model->transcript->size(), 1U);
    EXPECT_EQ(model->transcript->front().source, "Hello.");
    EXPECT_EQ(model->transcript->front().direction, AppModel::Direction::speak);
    EXPECT_EQ(*model->speakDeviceID, 3U) << "the other side hears the virtual microphone";
    EXPECT_EQ(app->speakEngine().player().device(), 3U);

    type(" \n ");
    EXPECT_EQ(calls.size(), 1U);
    EXPECT_EQ(failed, (Texts{"", ""}));
    world.answerBackend([](auto const&) { return HttpResponse{500, {}, ""}; });
    type("Hello.");
    EXPECT_FALSE(*model->typing);
    EXPECT_EQ(*model->statusKind, Kind::warning);
    EXPECT_EQ(voice.texts.size(), 1U);
    EXPECT_EQ(model->transcript->size(), 1U);
    EXPECT_EQ(failed.back(), "Hello.");
}

TEST_F(FeaturesTest, aLongTextIsSpokenInPiecesAndWhatFailsIsHandedBack)
{
    launch(true);
    auto const sentence = [](int number) { return "Sentence " + std::to_string(number) + std::string(200, 'a') + "."; };
    voice.plan = [](std::string const&, int attempt) {
        return attempt < 3 ? VoiceServer::Plan() : VoiceServer::Plan{.error = "too busy"};
    };
    type(sentence(1) + " " + sentence(2) + "\n" + sentence(3) + " " + sentence(4), 20);
    EXPECT_EQ(model->transcript->size(), 3U);
    EXPECT_EQ(model->transcript->front().source, sentence(1));
    EXPECT_EQ(failed, (Texts{sentence(3) + " " + sentence(4)}));
    EXPECT_FALSE(*model->typing);
}

TEST_F(FeaturesTest, oneLanguageIsTranslatedUnlessItNeedNotBeAndTwoPeopleAtOneComputerNeedNoVirtualMicrophone)
{
    devices.outputList.push_back({3, "Lingrelay"});
    launch(true, [](AppSettings& settings) {
        settings.theirLang = settings.myLang;
        settings.forceTwoWay = true;
    });
    app->oneShots().typeToSpeak("Hello.", OneShots::OneLanguage::asItIs, unspoken);
    wait(3);
    EXPECT_TRUE(calls.empty());
    EXPECT_EQ(voice.texts, (Texts{"Hello."}));
    type("Hello.");
    EXPECT_EQ(calls, (Texts{"translate"})) << "what is written may be in another language than what is spoken";
    EXPECT_EQ(voice.texts, (Texts{"Hello.", "Hola."}));
    EXPECT_FALSE(*model->speakDeviceID);
}

TEST_F(FeaturesTest, aHostedSessionIsOpenedForOneLineAndLeftToTheSessionThatNeedsIt)
{
    launch(false);
    type("Hello.");
    EXPECT_EQ(calls, (Texts{"translate", "start", "end"}));
    calls.clear();
    // A second one while the first is still spoken: who is done first takes nothing from the other.
    model->commands.typeToSpeak("Hello.", unspoken);
    wait(0.25);
    voice.plan = [](std::string const&, int) { return VoiceServer::Plan{.delay = 2}; };
    model->commands.typeToSpeak("Hello.", unspoken);
    wait(1.5);
    EXPECT_EQ(calls, (Texts{"translate", "start", "translate"}));
    EXPECT_TRUE(*model->typing);
    EXPECT_TRUE(assembly.hosted().active());
    wait(3);
    EXPECT_EQ(calls.back(), "end");
    EXPECT_FALSE(*model->typing);
    voice.plan = [](auto const&, int) { return VoiceServer::Plan(); };
    calls.clear();
    model->commands.typeToSpeak("Hello.", unspoken); // both at once
    type("Hello.");
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "start"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "end"), 1);
    calls.clear();
    start(0.3);
    type("Hello.");
    EXPECT_EQ(calls, (Texts{"start", "translate"}));
    stop(0.3);
    calls.clear();

    // A line that is typed while a session is being opened waits for that one.
    model->commands.start();
    type("Hello.");
    stop(0.3);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "start"), 1);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "end"), 1);
    calls.clear();

    // The session that begins while the line is spoken goes on with its keys.
    model->commands.typeToSpeak("Hello.", unspoken);
    wait(0.3);
    start(3);
    EXPECT_EQ(std::count(calls.begin(), calls.end(), "end"), 0);
    EXPECT_TRUE(assembly.hosted().active());
    stop(0.3);

    backendAnswer = R"({"error":"No more."})";
    auto const spoken = voice.texts.size();
    type("Hello.");
    EXPECT_EQ(*model->status, "No more.");
    EXPECT_EQ(voice.texts.size(), spoken);
    EXPECT_FALSE(*model->typing);
}

TEST_F(FeaturesTest, theLastLineIsHeardAgainByTheUserAlone)
{
    launch(true);
    model->commands.replayLast();
    EXPECT_EQ(overlay.statuses.back(), "Nothing to replay yet");
    wait(3);
    EXPECT_TRUE(voice.texts.empty());

    model->log(AppModel::Direction::listen, "Hallo.", "Hello.", "", world.main.date());
    model->log(AppModel::Direction::speak, "Bye.", "Adiós.", "", world.main.date());
    auto const replay = [this] {
        auto const heard = app->listenEngine().player().queuedSeconds();
        auto const said = app->speakEngine().player().queuedSeconds();
        model->commands.replayLast();
        wait(1);
        return std::pair(
            app->listenEngine().player().queuedSeconds() > heard, app->speakEngine().player().queuedSeconds() > said);
    };
    EXPECT_EQ(replay(), std::pair(true, false)) << "not into the call a second time";
    EXPECT_EQ(voice.texts, (Texts{"Adiós."}));
    EXPECT_EQ(model->transcript->size(), 2U);
    change([](AppSettings& settings) { settings.forceTwoWay = true; });
    EXPECT_EQ(replay(), std::pair(false, true)) << "two people hear one machine";
}

TEST_F(FeaturesTest, aRecapCoversTheLastTwoMinutes)
{
    launch(true);
    model->commands.summarizeRecent();
    EXPECT_EQ(*model->quickSummary, "Nothing was said in the last two minutes.");
    EXPECT_TRUE(calls.empty());

    Json asked;
    world.network.onExchange = [&](SimExchange const& exchange) {
        asked = parseJson(exchange.request().body).value_or(Json());
        exchange.answer(HttpResponse{200, {}, R"({"summary":"All is well."})"}, seconds(0.05));
    };
    model->log(AppModel::Direction::listen, "a", "too long ago", "", world.main.date());
    wait(121);
    model->log(AppModel::Direction::listen, "b", "Come in.", "", world.main.date());
    model->log(AppModel::Direction::speak, "c", "Gracias.", "", world.main.date());
    model->commands.summarizeRecent();
    EXPECT_TRUE(*model->summarizing);
    wait(1);
    EXPECT_FALSE(*model->summarizing);
    EXPECT_EQ(jsonString(asked, "text"), "THEM: Come in.\nYOU: Gracias.");
    EXPECT_EQ(jsonString(asked, "style"), "brief");
    EXPECT_EQ(*model->quickSummary, "All is well.");

    world.answerBackend([](auto const&) { return HttpResponse{402, {}, ""}; });
    model->commands.summarizeRecent();
    wait(1);
    EXPECT_EQ(*model->quickSummary, "Server error 402");
    EXPECT_FALSE(*model->summarizing);
}

TEST_F(FeaturesTest, theVoiceTestSaysHowItWent)
{
    launch(true);
    int done = 0;
    auto const test = [&] {
        model->commands.testVoice([&] { ++done; });
        wait(5);
    };
    test();
    EXPECT_EQ(done, 1);
    EXPECT_EQ(
        voice.texts, (Texts{"This is a Lingrelay test. If you can hear this on the call, your setup is correct."}));
    EXPECT_TRUE(model->transcript->empty());
    voice.plan = [](auto const&, int) { return VoiceServer::Plan{.error = "too busy"}; };
    test();
    EXPECT_EQ(done, 2);
    EXPECT_EQ(*model->statusKind, Kind::error);
    EXPECT_TRUE(model->status->starts_with("Test voice failed: "));
    EXPECT_NE(model->status->find("too busy"), std::string::npos);
}

} // namespace

} // namespace lingrelay
