#include "tests/support/VoiceServer.h"

#include "speech/TTSPipeline.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Plan = VoiceServer::Plan;

/// A pipeline before a played service; what it does is kept as text with its time.
struct Bench {
    explicit Bench(std::optional<std::uint32_t> seed = {}) : world(seed)
    {
        world.defaults.set("k.soniox", "key");
        world.network.onConnect = [this](SimPeer& peer) { server.take(peer); };
        TTSPipeline::Callbacks callbacks;
        callbacks.voice = [this] { return voice; };
        callbacks.speed = [this] { return speed; };
        callbacks.onStart = [this](TTSPipeline::Job const& job) {
            said("start " + job.text);
            started.push_back(job.seq);
        };
        callbacks.onSpeech = [](auto const&, Duration) {};
        callbacks.onError = [this](std::string const& message) { said("error " + message); };
        world.outputs.rates[1] = 24000;
        player = TTSPlayer::create(world.outputs, world.background, world.background);
        pipeline = std::make_shared<TTSPipeline>(world.pipelineScheduler, world.network, player, std::move(callbacks));
    }
    ~Bench()
    {
        pipeline->shutdown();
        world.time.runReady();
    }

    void said(std::string const& text)
    {
        events.push_back(text);
        times.push_back(toSeconds(world.time.now().time_since_epoch()));
    }
    void enqueue(std::string const& text, bool dropStale = false, double age = 0, std::string const& language = "es")
    {
        auto const created = world.time.now() - seconds(age);
        world.pipelineScheduler.post(
            [this, job = TTSPipeline::Job{++lastSeq, text, language, dropStale, created}] { pipeline->enqueue(job); });
    }
    void warm(std::string const& language = "es")
    {
        world.pipelineScheduler.post([this, language] { pipeline->warm(language); });
        world.time.runReady();
    }
    void wait(double length)
    {
        for (auto const end = world.time.now() + seconds(length); world.time.now() < end; hear())
            world.time.advance(std::min(seconds(0.01), end - world.time.now()));
    }
    /// Plays at once what came to the player.
    void hear()
    {
        auto const samples = static_cast<std::size_t>(std::lround(player->queuedSeconds() * 24000));
        if (samples == 0)
            return;
        said("feed " + std::to_string(2 * samples));
        fedBytes += 2 * samples;
        world.outputs.pull(samples);
    }
    std::size_t sockets() const { return world.network.peers().size(); }
    double openedAt(std::size_t index) const
    {
        return toSeconds(world.network.peers().at(index)->frames.at(0).at.time_since_epoch()) - 0.05;
    }
    Json config(std::size_t index) const { return *parseJson(world.network.peers().at(index)->frames.at(0).data); }
    void budget(int rpm, int concurrent)
    {
        world.backendDelay = 0;
        world.answerBackend([=](auto const&) {
            return HttpResponse{200, {},
                jsonText({{"session_id", "s"}, {"stt_key", "a"}, {"tts_key", "b"}, {"tts_rpm_budget", rpm},
                    {"tts_concurrent_budget", concurrent}})};
        });
        world.startHosted();
        wait(0.001);
    }
    bool quiet() const { return pipeline->queued() == 0 && pipeline->inFlight() == 0; }

    World world;
    VoiceServer server{world};
    std::string voice = "Daniel";
    double speed = 1.0;
    std::vector<std::string> events;
    std::vector<double> times;
    std::vector<int> started;
    std::size_t fedBytes = 0;
    int lastSeq = 0;
    std::shared_ptr<TTSPlayer> player;
    std::shared_ptr<TTSPipeline> pipeline;
};

class TTSPipelineTest : public testing::Test, protected Bench {
protected:
    using Events = std::vector<std::string>;
};

TEST_F(TTSPipelineTest, aClauseStartsOnceTheLeadInIsThereAndNotBefore)
{
    enqueue("hola");
    wait(30);
    EXPECT_EQ(
        events, (Events{"start hola", "feed 24000", "feed 4800", "feed 4800", "feed 4800", "feed 4800", "feed 4800"}));
    EXPECT_NEAR(times[1], 0.05 + 0.2 + 4 * 0.05, 0.001) << "with the block that fills it";
    EXPECT_TRUE(quiet() && world.network.peers()[0]->gone);
}

TEST_F(TTSPipelineTest, aShortClipIsFedWholeWhenItIsDone)
{
    server.plan = [](auto const&, int) { return Plan{.blocks = 3}; };
    enqueue("sí");
    wait(5);
    EXPECT_EQ(events, (Events{"start sí", "feed 14400"}));
    world.outputs.runOn(world.background, seconds(0.01)); // a player that is behind
    player->enqueuePCM(std::string(480000, '\0'), 24000, false);
    enqueue("no", true);
    world.time.advance(seconds(0.5));
    EXPECT_NEAR(player->queuedSeconds(), 8.2, 0.05) << "what is old makes room for a clause that loses its worth";
}

TEST_F(TTSPipelineTest, blockBordersCarryNoMeaning)
{
    server.plan = [](auto const&, int) { return Plan{.blocks = 20, .blockBytes = 3001}; };
    enqueue("hola");
    wait(30);
    for (auto const& event : events)
        EXPECT_TRUE(!event.starts_with("feed") || std::stoi(event.substr(5)) % 2 == 0) << event;
    EXPECT_EQ(fedBytes, 20 * 3001U);
}

TEST_F(TTSPipelineTest, aSmallBudgetAllowsOneGenerationAndOneWarmSocketBeside)
{
    budget(0, 2);
    enqueue("1");
    enqueue("2");
    wait(0.3);
    EXPECT_EQ(pipeline->inFlight(), 1);
    EXPECT_EQ(sockets(), 1U);
    warm();
    warm("fr");
    wait(0.1);
    EXPECT_EQ(sockets(), 2U) << "one running and one warm make two";
    wait(10);
    EXPECT_EQ(server.mostSpeaking, 1);
    EXPECT_EQ(started.size(), 2U);
}

TEST_F(TTSPipelineTest, aWarmSocketIsUsedWhileItFitsAndReplacedWhenItDoesNot)
{
    warm();
    warm();
    wait(1);
    EXPECT_EQ(sockets(), 1U);
    enqueue("hola");
    wait(2);
    EXPECT_EQ(sockets(), 1U);
    EXPECT_EQ(server.texts, (Events{"hola"}));

    warm(""); // no language is English
    wait(1);
    EXPECT_EQ(config(1)["language"], "en");
    voice = "Maya";
    warm("en");
    wait(0.1);
    EXPECT_EQ(sockets(), 3U);
    EXPECT_EQ(config(2)["voice"], "Maya");
    EXPECT_EQ(world.network.peers()[1]->closeCode, 1001);
    wait(4.5);
    enqueue("late", false, 0, "en");
    wait(2);
    EXPECT_EQ(sockets(), 4U) << "older than 4.5 s is too old";
    EXPECT_TRUE(world.network.peers()[2]->gone);
    EXPECT_FALSE(world.network.peers()[2]->closeCode) << "let go, not cancelled";
}

TEST_F(TTSPipelineTest, warmUpsKeepAReserveForClauses)
{
    budget(100, 0);
    server.plan = [](auto const&, int) { return Plan{.delay = 0, .blocks = 1}; };
    for (int i = 0; i < 10; ++i) { // 10 clauses and their sockets
        enqueue(std::to_string(i));
        wait(0.5);
    }
    ASSERT_EQ(sockets(), 10U);
    for (int i = 0; i < 200; ++i) {
        warm(std::to_string(i)); // each another language
        wait(0.06);
        world.pipelineScheduler.post([this] { pipeline->cancelAll(); });
    }
    EXPECT_EQ(sockets(), 87U) << "100 a minute less a reserve of 13";
    EXPECT_TRUE(world.logged("budget tight (100/min, used 87, clause reserve 13)"));
    enqueue("speech goes on");
    wait(2);
    EXPECT_EQ(sockets(), 88U);
    wait(70);
    enqueue("notes drop what is old");
    wait(2);
    warm("fr");
    EXPECT_TRUE(world.logged("budget recovered"));
}

TEST_F(TTSPipelineTest, aRefusalForConcurrencyIsRetriedWithGrowingWaits)
{
    server.plan = [](auto const&, int) { return Plan{.delay = 0, .error = "too many CONCURRENT streams"}; };
    enqueue("stays");
    wait(20);
    std::vector<double> opened;
    for (std::size_t i = 0; i < sockets(); ++i)
        opened.push_back(openedAt(i));
    ASSERT_EQ(opened.size(), 6U);
    double const waits[] = {0.4, 0.8, 1.2, 1.6, 2.0};
    for (std::size_t i = 1; i < opened.size(); ++i)
        EXPECT_NEAR(opened[i] - opened[i - 1], 0.05 + waits[i - 1], 0.005);
    EXPECT_EQ(events.back(), "error Voice service: too many CONCURRENT streams");

    events.clear();
    auto const before = sockets();
    enqueue("stale", true);
    wait(20);
    EXPECT_EQ(sockets(), before + 2) << "a droppable clause gets one retry";

    server.plan
        = [](auto const&, int attempt) { return attempt == 1 ? Plan{.error = "concurrent"} : Plan{.blocks = 2}; };
    events.clear();
    enqueue("second time lucky");
    wait(20);
    EXPECT_EQ(events, (Events{"start second time lucky", "feed 9600"}));
    EXPECT_TRUE(quiet());
}

TEST_F(TTSPipelineTest, otherFailuresPlayWhatCameAndTheNextClauseFollows)
{
    server.plan = [](auto const& text, int) { return Plan{.blocks = text == "1" ? 6 : 2, .drop = text == "1"}; };
    enqueue("1");
    enqueue("2");
    wait(20);
    ASSERT_EQ(events.size(), 6U) << testing::PrintToString(events);
    EXPECT_EQ(events[1], "feed 24000");
    EXPECT_TRUE(events[3].starts_with("error ")) << events[3];
    EXPECT_EQ(events[4], "start 2");
    EXPECT_EQ(server.attempts["1"], 1) << "the clause is not repeated";
}

TEST_F(TTSPipelineTest, silenceOfTwentyFiveSecondsAbandonsAClauseAndGivesItsPlaceBack)
{
    server.plan
        = [](auto const& text, int) { return Plan{.blocks = text == "next" ? 10 : 1, .silent = text != "next"}; };
    enqueue("stuck");
    enqueue("too");
    enqueue("next");
    wait(25.2);
    EXPECT_EQ(events, (Events{"start stuck"}));
    EXPECT_EQ(server.texts.size(), 2U);
    wait(0.2);
    EXPECT_EQ(server.texts.size(), 3U) << "synthesised as soon as there is a place";
    wait(26);
    EXPECT_EQ(events,
        (Events{"start stuck", "error synthesis stalled", "start too", "feed 4800", "error synthesis stalled",
            "start next", "feed 52800"}));
    EXPECT_NEAR(times[1], 25.25, 0.02);
    EXPECT_TRUE(world.logged("abandoning stuck clause seq=1 after 25s"));
    EXPECT_TRUE(quiet());
}

TEST_F(TTSPipelineTest, clausesWithoutAnyAnswerGiveTheirPlacesBackAfterFifteenSecondsOrAStop)
{
    server.plan
        = [](auto const& text, int) { return Plan{.blocks = text == "next" ? 10 : 0, .silent = text != "next"}; };
    enqueue("stuck");
    enqueue("too");
    enqueue("next");
    wait(16);
    ASSERT_EQ(started, (std::vector{1, 2, 3}));
    EXPECT_EQ(events[1], "error The voice service does not answer.");
    EXPECT_NEAR(times[1], 15.05, 0.02);
    enqueue("stuck");
    enqueue("too");
    wait(1);
    world.pipelineScheduler.post([this] { pipeline->cancelAll(); });
    enqueue("next");
    wait(2);
    EXPECT_EQ(server.attempts["next"], 2) << "a restart does not wait for what was before";
    EXPECT_TRUE(quiet());
}

TEST_F(TTSPipelineTest, onlyDroppableClausesAreSkippedWhenOld)
{
    enqueue("old", true, 6.1);
    enqueue("old but kept", false, 60);
    enqueue("fresh", true, 5.0);
    wait(20);
    EXPECT_EQ(started, (std::vector{2, 3}));
    EXPECT_TRUE(world.logged("skip clause 6.1s behind: old"));
    EXPECT_EQ(server.texts.size(), 2U);
}

TEST_F(TTSPipelineTest, theVoiceHurriesBeyondTwoAndAHalfSecondsAndCalmsBelowOne)
{
    speed = 1.2;
    auto const paceAt = [&](double age, bool dropStale) {
        enqueue("x", dropStale, age);
        wait(3);
        return config(sockets() - 1)["speed"].get<double>();
    };
    EXPECT_EQ(paceAt(2.4, true), 1.2);
    EXPECT_EQ(paceAt(60, false), 1.2) << "kept clauses do not hurry it";
    EXPECT_EQ(paceAt(2.6, true), 1.3) << "1.35 would be too fast";
    EXPECT_EQ(paceAt(1.5, true), 1.3);
    EXPECT_EQ(paceAt(0.5, true), 1.2);
}

TEST_F(TTSPipelineTest, cancelAllSilencesEverythingAndInFlightReturnsToZero)
{
    server.plan = [](auto const&, int) { return Plan{.blocks = 100, .blockGap = 0.1}; };
    enqueue("1");
    enqueue("2");
    enqueue("3");
    warm("fr");
    wait(0.5); // less than the lead-in has come
    world.pipelineScheduler.post([this] { pipeline->cancelAll(); });
    wait(0.001);
    EXPECT_EQ(pipeline->queued(), 0U);
    auto const heard = fedBytes;
    wait(60);
    EXPECT_EQ(fedBytes, heard);
    EXPECT_TRUE(quiet());
    EXPECT_FALSE(
        std::any_of(events.begin(), events.end(), [](auto const& event) { return event.starts_with("error"); }));
    server.plan = [](auto const&, int) { return Plan{}; };
    enqueue("4");
    wait(10);
    EXPECT_EQ(started.back(), 4);
    EXPECT_EQ(fedBytes, heard + 48000);
}

TEST_F(TTSPipelineTest, theLeadInGrowsWithEachUnderRunUpToItsLimit)
{
    EXPECT_EQ(pipeline->leadIn(), 24000);
    for (int const expected : {36000, 48000, 57600, 57600}) {
        pipeline->growLeadIn();
        EXPECT_EQ(pipeline->leadIn(), expected);
    }
    enqueue("hola");
    wait(10);
    EXPECT_EQ(events[1], "feed 48000") << "a clip shorter than the lead-in is fed whole";
}

TEST(TTSPipelineSeedsTest, whateverTheServiceDoesClausesAreHeardInOrderOnceAndAllEnds)
{
    int mostSpeaking = 0;
    for (std::uint32_t seed = 0; seed < 30; ++seed) {
        Bench bench(seed);
        std::mt19937 random(seed);
        auto const chance = [&](unsigned percent) { return random() % 100 < percent; };
        bench.server.plan = [&](auto const&, int) {
            return Plan{.delay = 0.1 * (random() % 10),
                .blocks = static_cast<int>(random() % 20),
                .blockGap = 0.01 * (random() % 10),
                .error = chance(10) ? "concurrent"
                    : chance(10)    ? "broken"
                                    : "",
                .silent = chance(5),
                .drop = chance(10)};
        };
        std::vector<int> kept;
        for (int i = 0; i < 60; ++i) {
            bool const dropStale = chance(50);
            bench.enqueue(std::to_string(i), dropStale);
            if (!dropStale)
                kept.push_back(bench.lastSeq);
            if (chance(50))
                bench.warm(chance(80) ? "es" : "fr");
            bench.world.time.advance(seconds(0.1 * (random() % 30)));
        }
        bench.world.time.advance(seconds(60 * 30));
        EXPECT_TRUE(bench.quiet()) << "seed " << seed;
        EXPECT_TRUE(std::is_sorted(bench.started.begin(), bench.started.end())) << "seed " << seed;
        EXPECT_EQ(std::adjacent_find(bench.started.begin(), bench.started.end()), bench.started.end()) << seed;
        EXPECT_TRUE(std::includes(bench.started.begin(), bench.started.end(), kept.begin(), kept.end()))
            << "a clause that may not be dropped was, seed " << seed;
        mostSpeaking = std::max(mostSpeaking, bench.server.mostSpeaking);
    }
    EXPECT_EQ(mostSpeaking, 2) << "two at once, and never more";
}

} // namespace

} // namespace lingrelay
