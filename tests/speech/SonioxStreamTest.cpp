#include "tests/support/World.h"

#include "speech/SonioxStream.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

Json token(std::string const& text, bool isFinal = true) { return {{"text", text}, {"is_final", isFinal}}; }

Json translated(std::string const& text, bool isFinal = true)
{
    auto result = token(text, isFinal);
    result["translation_status"] = "translation";
    return result;
}

std::string message(std::vector<Json> const& tokens) { return jsonText({{"tokens", tokens}}); }

/// A stream that is fed messages by hand; what it says is kept as text, finals in capitals' place marked by "!".
class FoldingTest : public testing::Test {
protected:
    FoldingTest() { listenTo(*m_stream); }

    void listenTo(SonioxStream& stream)
    {
        stream.onOriginal = [this](auto const& text, bool isFinal) { said.push_back((isFinal ? "o! " : "o ") + text); };
        stream.onTranslation
            = [this](auto const& text, bool isFinal) { said.push_back((isFinal ? "t! " : "t ") + text); };
        stream.onError = [this](auto const& text) { said.push_back("error " + text); };
        stream.onReconnecting = [this] { said.push_back("reconnecting"); };
        stream.onReconnected = [this] { said.push_back("reconnected"); };
    }
    std::vector<std::string> fold(std::vector<Json> const& tokens) { return foldText(message(tokens)); }
    std::vector<std::string> foldText(std::string const& text)
    {
        said.clear();
        m_stream->handle(text);
        return std::exchange(said, {});
    }
    std::vector<std::string> after(double length)
    {
        said.clear();
        m_world.time.advance(seconds(length));
        return std::exchange(said, {});
    }
    using Said = std::vector<std::string>;

    World m_world;
    std::shared_ptr<SonioxStream> m_stream
        = SonioxStream::create(m_world.network, m_world.streamScheduler, "en", "es", 16000);
    std::vector<std::string> said;
};

TEST_F(FoldingTest, previewsComeFirstAndHoldTheClauseThatIsAboutToBeCut)
{
    EXPECT_EQ(fold({token("Good"), token(" day", false)}), (Said{"o Good day"}));
    EXPECT_EQ(fold({token(" day."), translated("Buenos", false)}), (Said{"o Good day.", "t Buenos", "o! Good day."}));
    EXPECT_EQ(fold({translated("Buenos"), translated(" días."), token(" And", false)}),
        (Said{"o And", "t Buenos días.", "t! Buenos días."}));
    EXPECT_EQ(fold({}), Said());
}

TEST_F(FoldingTest, aMarkerCutsWhatIsFinalAndIsNeverText)
{
    EXPECT_EQ(fold({token("so"), translated("pues"), token("<end>", false)}), (Said{"o so", "t pues"}));
    EXPECT_EQ(fold({token(" <fin>\t")}), (Said{"o so", "t pues", "o! so", "t! pues"}));
    EXPECT_EQ(fold({token("  "), translated("\t"), token("<end>")}), Said()) << "blanks are no clause";
    EXPECT_EQ(fold({token("<>"), token("<end>")}), (Said{"o <>", "o! <>"})) << "two characters are ordinary text";
}

TEST_F(FoldingTest, clausesAreCutByCharactersAsReadersCountThem)
{
    auto const cuts = [&](std::string const& text) {
        fold({token("<end>")});
        return fold({token(text)}).size() == 2;
    };
    std::string const e = "e\xCC\x81"; // two code points, one character
    std::string e22;
    for (int i = 0; i < 22; ++i)
        e22 += e;
    EXPECT_FALSE(cuts(e22 + ","));
    EXPECT_TRUE(cuts(e22 + e + ", \t"));
    EXPECT_TRUE(cuts(e22 + e + "：")) << "marks of other scripts";
    EXPECT_FALSE(cuts(std::string(89, 'x')));
    EXPECT_TRUE(cuts(std::string(90, 'x')));
    EXPECT_FALSE(cuts("  " + std::string(88, 'x') + "  ")) << "blanks at the ends do not count";
    for (auto const* end : {".", "!", "?", "。", "！", "？", "…"})
        EXPECT_TRUE(cuts(std::string("a") + end)) << end;
    EXPECT_FALSE(cuts(std::string("a.") + "\xCC\x81")) << "an accented point is another character";
    EXPECT_FALSE(cuts("a.\"")) << "only the last character counts";
}

TEST_F(FoldingTest, onlyTheTranslationIsFlushedWhenTheProviderFallsSilent)
{
    fold({token("who knows"), translated("quién sabe")});
    EXPECT_EQ(after(0.89), Said());
    EXPECT_EQ(fold({}), (Said{"o who knows", "t quién sabe"})) << "an empty message sends the previews";
    EXPECT_EQ(after(0.89), Said()) << "and starts the wait anew";
    EXPECT_EQ(after(0.02), (Said{"t! quién sabe"}));
    EXPECT_EQ(after(60), Said());
    EXPECT_EQ(fold({token("?")}), (Said{"o who knows?", "o! who knows?"}));
}

TEST_F(FoldingTest, malformedMessagesChangeNothing)
{
    fold({token("kept")});
    for (auto const* text : {"", "{", "[1]", "\"x\"", "null", "{}", R"({"tokens":1})", R"({"tokens":{"text":"x"}})",
             R"({"tokens":[{"text":"x","is_final":true},3]})", "\xFF\xFE", R"({"tokens":null})"})
        EXPECT_EQ(foldText(text), Said()) << text;
    EXPECT_EQ(
        foldText(
            R"({"tokens":[{"text":7,"is_final":true},{"is_final":"yes","text":" a"},{"text":" b","is_final":1}]})"),
        (Said{"o kept a b"}))
        << "wrong types count as absent";
    EXPECT_EQ(fold({}), (Said{"o kept"}));
}

TEST_F(FoldingTest, controlCharactersEndWhereTextEnters)
{
    auto spoken = token("\x1B]0;title\x07 two\nlines\r\nand\ta tab.");
    spoken["speaker"] = "\x1B[2J1";
    EXPECT_EQ(fold({spoken, translated("\u009B31mÀ\u00A0\x7F")}),
        (Said{"o ]0;title two lines and a tab.", "t 31mÀ\u00A0", "o! ]0;title two lines and a tab."}));
    EXPECT_EQ(m_stream->lastSpeaker(), "[2J1");
    EXPECT_EQ(foldText(R"({"error_code":1,"error_message":"\u001b[2Jbad"})"), (Said{"error Speech service: 1 [2Jbad"}));
}

TEST_F(FoldingTest, anErrorMessageIsToldAndFoldsNothing)
{
    EXPECT_EQ(foldText(R"({"error_code":408,"error_message":"Input too slow","tokens":[{"text":"x."}]})"),
        (Said{"error Speech service: 408 Input too slow"}));
    m_world.language.setModelLanguage("vi");
    EXPECT_EQ(foldText(R"({"error_code":"odd","error_message":5})"), (Said{"error Dịch vụ giọng nói: odd "}));
}

TEST_F(FoldingTest, speakersAndLanguagesStayUntilReplaced)
{
    auto spoken = token("Hi");
    spoken["speaker"] = 2;
    auto said = translated("Hola");
    said["language"] = "es";
    said["speaker"] = "9";
    fold({spoken, said});
    EXPECT_EQ(m_stream->lastSpeaker(), "2");
    EXPECT_EQ(m_stream->lastTranslationLanguage(), "es");
    spoken["speaker"] = "3";
    spoken["is_final"] = false;
    said["language"] = "";
    fold({spoken, said, token(" there")});
    EXPECT_EQ(m_stream->lastSpeaker(), "2");
    EXPECT_EQ(m_stream->lastTranslationLanguage(), "es");
}

TEST_F(FoldingTest, theRollingTranscriptKeepsItsLastTwelveThousandCharacters)
{
    std::string expected;
    for (int i = 0; i < 400; ++i) {
        auto const clause
            = "Câu số " + std::to_string(i) + std::string(static_cast<std::size_t>(i % 80), 'x') + " 👍🏽.";
        fold({token(clause)});
        expected += clause + " ";
    }
    CharacterText all;
    all.append(expected);
    all.keepLast(12000);
    EXPECT_EQ(m_stream->rollingTranscript(), all.text());
    EXPECT_EQ(characterCount(m_stream->rollingTranscript()), 12000U);
}

/// A stream on scripted sockets.
class ConnectedTest : public FoldingTest {
protected:
    using Kind = SimPeer::Kind;

    ConnectedTest() { m_world.defaults.set("k.soniox", "key-1"); }
    ~ConnectedTest() override
    {
        m_stream->stop();
        m_world.time.runReady();
    }
    SimPeer& peer(std::size_t index = 0) { return *m_world.network.peers().at(index); }
    std::size_t connections() const { return m_world.network.peers().size(); }
    Json config(std::size_t index = 0) { return *parseJson(peer(index).data(Kind::text).at(0)); }
    void refuseAll()
    {
        m_world.network.onConnect = [](SimPeer& peer) { peer.refuse({Error::Kind::cannotConnectToHost, "no route"}); };
    }
    /// The configuration of a stream set up by `change`.
    Json configOf(std::function<void(SonioxStream&)> change, std::string const& from = "en")
    {
        auto const stream = SonioxStream::create(m_world.network, m_world.streamScheduler, from, "es", 16000);
        change(*stream);
        stream->connect();
        m_world.time.advance(seconds(0.1));
        stream->stop();
        m_world.time.runReady();
        return config(connections() - 1);
    }
};

TEST_F(ConnectedTest, theConfigurationSaysWhatWasAskedAndNoMore)
{
    EXPECT_EQ(configOf([](auto&) {}),
        Json::parse(R"({"api_key":"key-1","model":"stt-rt-v5","audio_format":"pcm_s16le","sample_rate":16000,
            "num_channels":1,"translation":{"type":"one_way","target_language":"es"},
            "enable_endpoint_detection":true,"language_hints":["en","es"]})"));
    EXPECT_EQ(peer().request.bearer, "key-1");
    EXPECT_EQ(peer().request.url, "ws://127.0.0.1:1/transcribe-websocket");

    EXPECT_EQ(configOf([](auto&) {}, "auto")["language_hints"], Json({"es"}));
    auto const twoWay = configOf([](auto& stream) { stream.twoWay = true; }, "auto");
    EXPECT_EQ(twoWay["translation"], Json({{"type", "two_way"}, {"language_a", "auto"}, {"language_b", "es"}}));

    auto const tuned = configOf([](auto& stream) {
        stream.endpointSensitivity = 2.5;
        stream.latencyAdjustment = 2;
        stream.diarization = true;
        stream.contextProfile.emplace().domain = "law";
    });
    EXPECT_EQ(tuned["endpoint_sensitivity"], 1.0);
    EXPECT_EQ(tuned["endpoint_latency_adjustment"], 2);
    EXPECT_EQ(tuned["enable_speaker_diarization"], true);
    EXPECT_TRUE(tuned["context"].contains("general"));

    auto const undetected = configOf([](auto& stream) {
        stream.endpointDetection = false;
        stream.endpointSensitivity = 0.5;
        stream.latencyAdjustment = 1;
        stream.contextProfile.emplace().name = "renders to nothing";
    });
    EXPECT_FALSE(undetected.contains("endpoint_sensitivity") || undetected.contains("context"));
    EXPECT_EQ(undetected["endpoint_latency_adjustment"], 1);
}

TEST_F(ConnectedTest, eightReconnectsAreTriedAndTheNinthFailureIsTold)
{
    refuseAll();
    int dead = 0;
    m_stream->onDead = [&] { ++dead; };
    m_stream->connect();
    std::vector<double> expected{0, 0.4, 1.2, 2.4, 4.0, 6.0, 8.4, 10.9, 13.4};
    std::vector<double> tried;
    for (int step = 0; step < 2000; ++step) {
        auto const before = connections();
        m_world.time.advance(seconds(0.01));
        for (auto i = before; i < connections(); ++i)
            tried.push_back(step * 0.01);
    }
    ASSERT_EQ(tried.size(), expected.size());
    for (std::size_t i = 0; i < tried.size(); ++i)
        EXPECT_NEAR(tried[i], expected[i], 0.02);
    ASSERT_EQ(said.size(), 9U);
    EXPECT_EQ(said.back(), "error no route");
    EXPECT_EQ(std::count(said.begin(), said.end(), "reconnecting"), 8);
    EXPECT_EQ(dead, 1);
    EXPECT_TRUE(m_world.time.idle()) << "a dead stream leaves no timer";
    // An address that cannot be used at all is a failure like others.
    m_world.registry.put(std::make_shared<HostsInUse>(Hosts{"ws://example.com", "", "", ""}));
    auto const unusable = SonioxStream::create(m_world.network, m_world.streamScheduler, "en", "es", 16000);
    unusable->onDead = [&] { ++dead; };
    unusable->connect();
    after(13.3);
    EXPECT_EQ(dead, 1);
    after(60);
    EXPECT_EQ(dead, 2);
    EXPECT_EQ(unusable->connections(), 9);
    EXPECT_TRUE(m_world.time.idle());
}

TEST_F(ConnectedTest, onlyAGoodMessageProvesAReconnect)
{
    refuseAll();
    m_stream->connect();
    EXPECT_EQ(after(1.0), (Said{"reconnecting", "reconnecting"}));
    m_world.network.onConnect = {};
    EXPECT_EQ(after(1.0), Said());
    peer(2).sendText("[]");
    peer(2).sendText(R"({"error_code":500,"error_message":"busy"})");
    EXPECT_EQ(after(0.1), (Said{"error Speech service: 500 busy"}));
    peer(2).sendText("{}");
    peer(2).sendText("{}");
    EXPECT_EQ(after(0.1), (Said{"reconnected"}));
    peer(2).drop();
    EXPECT_EQ(after(0.39), (Said{"reconnecting"}));
    EXPECT_EQ(connections(), 3U);
    after(0.02);
    EXPECT_EQ(connections(), 4U) << "the count of failures began anew";
}

TEST_F(ConnectedTest, whatWasFinalSurvivesADropAndTheNewSocketHasTheNewestKeyAndContext)
{
    m_stream->contextProfile.emplace().notes = "notes";
    m_stream->connect();
    after(0.1);
    EXPECT_EQ(config()["context"]["text"], "notes");
    peer().sendText(message({token("First. "), token("<end>")}));
    peer().sendText(message({token("and th"), token("en?", false), translated("y lue")}));
    after(0.1);
    m_world.defaults.set("k.soniox", "key-2");
    peer().drop();
    EXPECT_EQ(after(0.45), (Said{"reconnecting"}));
    EXPECT_EQ(config(1)["api_key"], "key-2");
    EXPECT_EQ(peer(1).request.bearer, "key-2");
    EXPECT_EQ(config(1)["context"]["text"], "notes\n\nFirst. ");
    peer(1).sendText(message({token("en"), translated("go.")}));
    EXPECT_EQ(after(0.1), (Said{"reconnected", "o and then", "t y luego.", "t! y luego."}));
    peer(1).sendText(message({translated("pendiente")}));
    peer(1).drop();
    refuseAll();
    auto const heard = after(2);
    EXPECT_EQ(std::count(heard.begin(), heard.end(), "t! pendiente"), 1) << "silence is noticed in an outage, too";
}

TEST_F(ConnectedTest, pingsKeepTheSocketAliveEveryFiveSeconds)
{
    m_stream->connect();
    after(61);
    EXPECT_EQ(connections(), 1U) << "answered pings are life";
    ASSERT_EQ(peer().count(Kind::ping), 12U);
    EXPECT_NEAR(toSeconds(peer().frames.back().at.time_since_epoch()), 60, 0.1);
    peer().answersPings = false;
    EXPECT_EQ(after(36), (Said{"reconnecting"})) << "silence of half a minute is death";
}

TEST_F(ConnectedTest, audioWaitsForTheHandshakeTwoSecondsAtMostAndIsLostInAnOutage)
{
    m_world.network.onConnect = [](SimPeer& peer) { peer.accept(seconds(5)); };
    m_stream->send("lost: not even connecting");
    m_stream->connect();
    m_world.time.runReady();
    for (int i = 0; i < 30; ++i)
        m_stream->send(std::string(3200, static_cast<char>('A' + i)));
    EXPECT_FALSE(m_stream->open());
    after(5.1);
    EXPECT_TRUE(m_stream->open());
    auto const heard = peer().data(Kind::binary);
    ASSERT_EQ(heard.size(), 20U);
    EXPECT_EQ(heard[0][0], 'A' + 10);
    EXPECT_TRUE(m_world.logged("32000 bytes dropped") || m_world.logged("3200 bytes dropped"));

    peer().drop();
    after(0.2);
    m_stream->send("lost");
    after(10);
    EXPECT_TRUE(peer(1).data(Kind::binary).empty());
}

TEST_F(ConnectedTest, aConnectionThatDiesWithSoundUnderWayIsOneFailure)
{
    m_stream->connect();
    after(0.1);
    peer().stall();
    for (int i = 0; i < 20; ++i)
        m_stream->send(std::string(3200, 'x'));
    after(0.1);
    peer().sendText(R"({"error_code":408,"error_message":"Input too slow"})");
    peer().drop();
    EXPECT_EQ(after(0.39), (Said{"error Speech service: 408 Input too slow", "reconnecting"}));
    after(30);
    EXPECT_EQ(connections(), 2U);
}

TEST_F(ConnectedTest, aStopIsSilentAndFinal)
{
    for (std::uint32_t seed = 0; seed < 50; ++seed) {
        World world(seed);
        world.defaults.set("k.soniox", "key");
        bool const outage = seed % 2 == 1;
        auto const stream = SonioxStream::create(world.network, world.streamScheduler, "en", "es", 16000);
        listenTo(*stream);
        stream->connect();
        world.time.advance(seconds(0.1));
        auto const& peer = *world.network.peers().at(0);
        world.network.peers()[0]->sendText(message({token("half"), translated("medio")}));
        if (outage)
            world.network.peers()[0]->drop();
        world.time.advance(seconds(seed % 4 * 0.1));
        said.clear();
        stream->stop();
        stream->send("nobody hears this");
        world.time.advance(seconds(0.1));
        EXPECT_TRUE(world.time.idle()) << "no timer runs on, seed " << seed;
        world.time.advance(seconds(30));
        EXPECT_EQ(said, Said()) << "seed " << seed;
        EXPECT_EQ(world.network.peers().size(), 1U);
        if (!outage) {
            EXPECT_EQ(peer.data(Kind::text).back(), "");
            EXPECT_EQ(peer.closeCode, 1001);
        }
        EXPECT_TRUE(peer.gone);
    }
}

TEST_F(ConnectedTest, aFinishedStreamGivesItsLastClauseAndDoesNotReconnect)
{
    enum Ending { finished, closed, quiet, inOutage };
    for (auto const ending : {finished, closed, quiet, inOutage}) {
        auto const stream = SonioxStream::create(m_world.network, m_world.streamScheduler, "en", "es", 16000);
        listenTo(*stream);
        int done = 0;
        stream->onFinished = [&] { ++done; };
        stream->connect();
        after(0.1);
        auto& socket = peer(connections() - 1);
        socket.sendText(message({token("no stop"), translated("sin punto")}));
        after(0.1);
        if (ending == inOutage) {
            socket.drop();
            after(0.1);
        }
        stream->finish();
        if (ending == finished)
            socket.sendText(R"({"tokens":[],"finished":true})");
        else if (ending == closed)
            socket.close(1000);
        auto heard = after(0.5);
        EXPECT_EQ(done, ending == quiet ? 0 : 1);
        if (ending == finished || ending == quiet) {
            EXPECT_EQ(socket.data(Kind::text).back(), "");
        }
        auto const rest = after(ending == quiet ? 11.6 : 0.5);
        heard.insert(heard.end(), rest.begin(), rest.end());
        EXPECT_EQ(done, 1);
        EXPECT_EQ(std::count(heard.begin(), heard.end(), "t! sin punto"), 1) << ending;
        EXPECT_EQ(std::count(heard.begin(), heard.end(), "o! no stop"), 1) << ending;
        auto const before = connections();
        after(30);
        EXPECT_EQ(connections(), before);
        stream->stop();
    }
}

TEST_F(ConnectedTest, noWordIsLostOrDoubledWhateverTheDrops)
{
    for (std::uint32_t seed = 0; seed < 60; ++seed) {
        World world(seed);
        world.defaults.set("k.soniox", "key");
        std::mt19937 random(seed);
        std::string heard;
        auto const stream = SonioxStream::create(world.network, world.streamScheduler, "en", "es", 16000);
        stream->onTranslation = [&](auto const& text, bool isFinal) { heard += isFinal ? text + " " : ""; };
        stream->connect();
        std::string expected;
        for (int word = 0; word < 200; ++word) {
            world.time.advance(seconds(0.05 * (random() % 10)));
            auto& socket = *world.network.peers().back();
            if (!stream->open())
                continue;
            auto const text = "w" + std::to_string(word) + (random() % 9 == 0 ? "." : "");
            expected += text + " ";
            socket.sendText(message({translated(text + " "), translated("w" + std::to_string(word + 1), false)}));
            if (random() % 12 == 0)
                socket.drop();
        }
        world.time.advance(seconds(2));
        EXPECT_EQ(heard, expected) << "seed " << seed;
        stream->stop();
        world.time.runReady();
    }
}

} // namespace

} // namespace lingrelay
