#include "core/Engine.h"
#include "core/FarEndEcho.h"
#include "tests/support/VoiceServer.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

/// One engine between a played recogniser and a played voice, heard through a simulated output.
struct Direction {
    explicit Direction(std::string const& tag = "listen", std::optional<std::uint32_t> seed = {}) : world(seed)
    {
        world.defaults.set("k.soniox", "key");
        world.network.onConnect = [this](SimPeer& peer) {
            if (voice.serves(peer))
                return voice.take(peer);
            peer.accept();
            recognisers.push_back(peer.weak_from_this());
        };
        world.outputs.rates[1] = 24000;
        world.outputs.runOn(world.background, seconds(0.02));
        engine->tag = tag;
        engine->onCaption.connect(
            [this](CaptionKind kind, auto const& text) { said.push_back(std::string(rawValue(kind)) + ": " + text); });
        engine->onLine.connect([this](auto const& source, auto const& translation, auto const& speaker) {
            lines.push_back(source + " > " + translation + (speaker.empty() ? "" : " (" + speaker + ")"));
        });
        engine->onStatus.connect([this](Engine::Status status, auto const& message) {
            constexpr char const* words[] = {"ready", "reconnecting", "error"};
            statuses.push_back(words[static_cast<int>(status)] + (message ? " " + *message : ""));
        });
        engine->onSpeech = [this](auto const& job, Duration delay) {
            speech.emplace_back(job.seq, toSeconds(world.time.now() + delay - job.createdAt));
        };
        engine->typeText = [this](auto const& text) { typed.push_back(text); };
        engine->onTrace = [this](int seq, std::string_view hop) { hops.emplace_back(seq, hop); };
    }
    ~Direction()
    {
        engine.reset();
        world.time.runReady();
    }

    void start(std::function<void(AppSettings&)> change = [](AppSettings&) {})
    {
        AppSettings settings;
        settings.sourceLang = "en";
        settings.targetLang = "es";
        settings.sampleRate = 16000;
        change(settings);
        engine->start(settings);
        wait(0.2);
    }
    void wait(double length) { world.time.advance(seconds(length)); }
    void tell(std::vector<Json> const& tokens, double length = 0.01)
    {
        recognisers.back().lock()->sendText(jsonText({{"tokens", tokens}}));
        wait(length);
    }
    static Json original(std::string const& text) { return {{"text", text}, {"is_final", true}}; }
    static Json translation(std::string const& text, std::string const& language = "es")
    {
        return {{"text", text}, {"is_final", true}, {"translation_status", "translation"}, {"language", language}};
    }
    std::size_t voiceSockets() const
    {
        auto const& peers = world.network.peers();
        return static_cast<std::size_t>(
            std::count_if(peers.begin(), peers.end(), [this](auto const& peer) { return voice.serves(*peer); }));
    }
    std::vector<std::string> voiceLanguages() const
    {
        std::vector<std::string> languages;
        for (auto const& peer : world.network.peers()) {
            if (voice.serves(*peer))
                languages.push_back((*parseJson(peer->frames.at(0).data))["language"]);
        }
        return languages;
    }

    World world;
    FarEndEcho& farEndEcho = world.registry.put(std::make_shared<FarEndEcho>(world.main));
    VoiceServer voice{world};
    std::vector<std::weak_ptr<SimPeer>> recognisers;
    std::vector<std::string> said, lines, statuses, typed;
    std::vector<std::pair<int, double>> speech;
    std::vector<std::pair<int, std::string>> hops;
    std::shared_ptr<Engine> engine = Engine::create(
        {world.network, world.streamScheduler, world.pipelineScheduler, world.background, world.outputs});
};

class EngineTest : public testing::Test, protected Direction {
protected:
    using Texts = std::vector<std::string>;
};

TEST_F(EngineTest, aClauseBecomesCaptionsALineAndSpeech)
{
    auto spoken = original("Good day.");
    spoken["speaker"] = "1";
    start();
    tell({spoken, translation("Buenos días.")}, 5);
    EXPECT_EQ(said,
        (Texts{
            "original: Good day.", "translation: Buenos días.", "original: Good day.", "translation: Buenos días."}));
    EXPECT_EQ(lines, (Texts{"Good day. > Buenos días. (1)"}));
    EXPECT_EQ(voice.texts, (Texts{"Buenos días."}));
    ASSERT_EQ(speech.size(), 1U);
    EXPECT_EQ(speech[0].first, 1);
    EXPECT_NEAR(speech[0].second, 0.4, 0.02) << "0.2 s of synthesis and 0.2 s of lead-in, on a warm socket";
    EXPECT_EQ(engine->lastSpokenText(), "Buenos días.");
    EXPECT_EQ(engine->lastSpokenLanguage(), "es");
    EXPECT_TRUE(engine->speechFinished());
    Texts seen;
    for (auto const& [seq, hop] : hops)
        seen.push_back(hop);
    EXPECT_EQ(seen, (Texts{"final", "delivered", "enqueued", "sent", "firstAudio", "playing", "spoken"}));
}

TEST_F(EngineTest, eachSourceBelongsToOneLine)
{
    start([](auto& settings) { settings.tts = false; });
    tell({translation("Antes.")});
    tell({original("One. "), translation("Uno.")});
    tell({translation("Y medio.")});
    EXPECT_EQ(lines, (Texts{" > Antes.", "One. > Uno.", " > Y medio."}));
    EXPECT_EQ(said.back(), "translation: Y medio.");
    EXPECT_EQ(voiceSockets(), 0U) << "no voice, no socket";
    EXPECT_TRUE(engine->speechFinished());
}

TEST_F(EngineTest, aRestartReplacesTheStreamAndLeavesSpeechPlaying)
{
    voice.plan = [](auto const&, int) { return VoiceServer::Plan{.blocks = 40}; };
    start();
    tell({translation("Uno.")});
    tell({translation("Dos.")}, 1);
    start();
    EXPECT_EQ(statuses, (Texts{"ready", "ready"}));
    ASSERT_EQ(recognisers.size(), 2U);
    EXPECT_EQ(recognisers[0].lock()->closeCode, 1001);
    EXPECT_FALSE(engine->speechFinished());
    tell({translation("Tres.")}, 30);
    EXPECT_EQ(voice.texts, (Texts{"Uno.", "Dos.", "Tres."}));
    ASSERT_EQ(speech.size(), 3U);
    EXPECT_EQ(speech[2].first, 1) << "the counters began anew, and the new clause claims";
    EXPECT_EQ(lines.size(), 3U);
}

TEST_F(EngineTest, audioGoesToTheLiveSocketOnly)
{
    engine->sendAudio("before");
    start();
    engine->sendAudio("during");
    wait(0.1);
    auto const peer = recognisers[0].lock();
    engine->stop();
    engine->sendAudio("after");
    engine->finishAudio();
    wait(10);
    EXPECT_EQ(peer->data(SimPeer::Kind::binary), (Texts{"during"}));
}

TEST_F(EngineTest, aStopDropsQueuedSpeechAndUnfinishedText)
{
    voice.plan = [](auto const&, int) { return VoiceServer::Plan{.delay = 3}; };
    start();
    tell({original("half a"), translation("media.")}, 0.5);
    engine->stop();
    wait(10);
    EXPECT_TRUE(speech.empty());
    EXPECT_TRUE(engine->speechFinished());
    EXPECT_EQ(lines, (Texts{" > media."}));
    for (auto const& peer : world.network.peers())
        EXPECT_TRUE(peer->gone);
    EXPECT_EQ(world.network.peers().at(0)->closeCode, 1001) << "the recogniser is told";
    start();
    voice.plan = [](auto const&, int) { return VoiceServer::Plan{}; };
    tell({translation("Sigue.")}, 5);
    EXPECT_EQ(speech.size(), 1U);
}

TEST_F(EngineTest, aVoiceThatSpeaksAgainTakesItsFailureOutOfTheStatus)
{
    voice.plan = [](auto const& text, int) {
        return VoiceServer::Plan{.delay = text == "Tarde." ? 1 : 0.2, .error = text == "Mal." ? "lost" : ""};
    };
    start();
    tell({translation("Mal.")}, 5);
    EXPECT_EQ(statuses.back(), "error Voice: Voice service: lost");
    tell({translation("Uno.")}, 5);
    EXPECT_EQ(std::count(statuses.begin(), statuses.end(), "ready"), 2) << "once for the start";
    EXPECT_EQ(statuses.back(), "ready");

    tell({translation("Mal.")}, 5);
    tell({translation("Tarde.")}, 0.5);
    recognisers.back().lock()->close(1011);
    world.network.onConnect = [this](SimPeer& peer) { voice.serves(peer) ? voice.take(peer) : void(); };
    wait(4);
    EXPECT_EQ(speech.size(), 2U);
    EXPECT_EQ(statuses.back(), "reconnecting") << "the recogniser has not come back with the voice";
}

TEST_F(EngineTest, socketsAreWarmedForTheLanguagesThatMayCome)
{
    start();
    EXPECT_EQ(voiceLanguages(), (Texts{"es"}));
    tell({{{"text", "Bon"}, {"translation_status", "translation"}}, translation("x", "fr")}, 0.2);
    EXPECT_EQ(voiceLanguages().back(), "fr") << "the service's own label decides";
    start([](auto& settings) { settings.forceTwoWay = true; });
    auto const languages = voiceLanguages();
    EXPECT_EQ(languages.back(), "en") << "both sides of a two-way stream";
    auto const before = voiceSockets();
    start([](auto& settings) { settings.targetLang = "auto"; });
    EXPECT_EQ(voiceSockets(), before);
}

TEST_F(EngineTest, settingsAppliedWhileRunningReachTheNextClause)
{
    start();
    auto changed = *engine->settings();
    changed.voiceName = "Maya";
    engine->applySettings(changed);
    tell({translation("Uno.")}, 5);
    EXPECT_EQ((*parseJson(world.network.peers().back()->frames.at(0).data))["voice"], "Maya");
    changed.tts = false;
    engine->applySettings(changed);
    tell({translation("Dos.")}, 5);
    EXPECT_EQ(voice.texts, (Texts{"Uno."}));
    EXPECT_EQ(recognisers.size(), 1U) << "without a reconnect";
}

TEST_F(EngineTest, runningDryInAClipMakesLaterClausesWaitForMore)
{
    voice.plan = [](auto const& text, int) {
        return text == "Uno." ? VoiceServer::Plan{.blocks = 6, .blockGap = 1} : VoiceServer::Plan{.blocks = 20};
    };
    start();
    tell({translation("Uno.")}, 15);
    EXPECT_GE(engine->player().underruns(), 1);
    EXPECT_TRUE(world.logged("player ran dry mid-clip"));
    auto const before = speech.size();
    tell({translation("Dos.")}, 5);
    ASSERT_EQ(speech.size(), before + 1);
    EXPECT_GT(speech.back().second, 0.6);
}

class SpeakEngineTest : public testing::Test, protected Direction {
protected:
    SpeakEngineTest() : Direction("speak") { }
};

TEST_F(SpeakEngineTest, aLeakOfTheFarEndLeavesNoTraceButItsNumber)
{
    start();
    farEndEcho.note("we should meet on Thursday afternoon");
    tell({original("Should meet on Thursday afternoon. "), translation("Filtrado.")}, 3);
    EXPECT_TRUE(lines.empty() && voice.texts.empty());
    EXPECT_EQ(std::count(said.begin(), said.end(), "translation: Filtrado."), 1) << "only the preview was seen";
    EXPECT_TRUE(world.logged("[echo] dropped far-end leak: Should meet on Thursday afternoon."));
    tell({translation("Mío.")}, 3);
    EXPECT_EQ(lines, (std::vector<std::string>{" > Mío."})) << "the leak's source is gone with it";
    EXPECT_EQ(speech.at(0).first, 2);
}

TEST_F(SpeakEngineTest, typedClausesAreNotSpoken)
{
    start([](auto& settings) { settings.typeIntoChat = true; });
    tell({original("Hi."), translation("Hola.")}, 3);
    EXPECT_EQ(typed, (std::vector<std::string>{"Hola. "}));
    EXPECT_TRUE(voice.texts.empty());
    EXPECT_EQ(lines.size(), 1U);
    engine->tag = "listen";
    tell({original("Hi."), translation("Hola.")}, 3);
    EXPECT_EQ(typed.size(), 1U);
    EXPECT_EQ(voice.texts.size(), 1U) << "only the user's own words are typed";
}

TEST(EngineStalenessTest, onlyTheListenDirectionSkipsSpeechForAge)
{
    for (auto const* tag : {"listen", "speak"}) {
        Direction direction(tag);
        direction.voice.plan = [](auto const&, int) { return VoiceServer::Plan{.blocks = 50, .blockGap = 0.1}; };
        direction.start();
        for (auto const* text : {"Uno.", "Dos.", "Tres.", "Cuatro."})
            direction.tell({Direction::translation(text)});
        direction.wait(60);
        EXPECT_EQ(direction.speech.size(), std::string(tag) == "speak" ? 4U : 3U) << tag;
        EXPECT_EQ(direction.lines.size(), 4U);
    }
}

} // namespace

} // namespace lingrelay
