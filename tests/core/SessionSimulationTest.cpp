// Whole sessions under random faults and random user actions, in virtual time. LINGRELAY_SEEDS sets how many lives of
// the program are played, LINGRELAY_SEED plays one alone.

#include "base/Uuid.h"
#include "tests/support/Desk.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <random>
#include <set>

namespace lingrelay {

namespace {

using Mode = AppSettings::Mode;

std::uint32_t number(char const* name, std::uint32_t otherwise)
{
    char const* text = std::getenv(name);
    return text ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) : otherwise;
}

/// One life of the program: sessions one after the other, with everything around it misbehaving now and then.
class Life : public Desk {
public:
    explicit Life(std::uint32_t seed) : Desk(seed, seconds(0.2)), m_random(seed)
    {
        devices.inputList.push_back({3, "Lingrelay Microphone"});
        devices.outputList.push_back({3, "Lingrelay"});
        devices.builtIn = 10;
        m_hosted = chance(0.6);
        world.defaults.set("k.soniox", m_hosted ? "" : "key");
        voice.plan = [this](std::string const&, int) { return voicePlan(); };
        world.network.onConnect = [this](SimPeer& peer) { connected(peer); };
        world.network.onExchange = [this](SimExchange const& exchange) { backend(exchange); };
        set([this](auto& settings) {
            settings.theirLang = "fr";
            settings.mode = pick({Mode::listen, Mode::speak, Mode::both});
            settings.autoRouteMic = chance(0.5);
            settings.pushToTalk = chance(0.2);
        });
        launch();
        watch(app->listenEngine());
        watch(app->speakEngine());
        app->keeping().onArchived = [this](auto const& session, auto const& file) { archived(session, file); };
        m_timersAtRest = rest();
    }

    ~Life() { end(); }

    void play()
    {
        for (int session = 0; session < 6 && !testing::Test::HasFailure(); ++session)
            playSession();
        quit();
    }

private:
    template <class T> T pick(std::initializer_list<T> values)
    {
        return *(values.begin() + static_cast<std::ptrdiff_t>(m_random() % values.size()));
    }
    bool chance(double probability) { return std::uniform_real_distribution<>(0, 1)(m_random) < probability; }
    double between(double low, double high) { return std::uniform_real_distribution<>(low, high)(m_random); }

    VoiceServer::Plan voicePlan()
    {
        VoiceServer::Plan plan{.delay = between(0.05, 0.6), .blocks = static_cast<int>(between(2, 12))};
        if (!m_faults)
            return plan;
        plan.error = chance(0.1) ? "Too many requests" : "";
        plan.silent = chance(0.05);
        plan.drop = chance(0.05);
        return plan;
    }

    void connected(SimPeer& peer)
    {
        if (m_faults && chance(0.1))
            return peer.refuse({Error::Kind::cannotConnectToHost, "refused"}, seconds(between(0, 1)));
        if (m_faults && chance(0.03))
            return; // never answers
        if (voice.serves(peer))
            return voice.take(peer);
        peer.accept(seconds(between(0, 0.3)));
        m_recognisers.push_back({peer.weak_from_this(), peer.frames.size()});
    }

    /// A report that was under way at the end and then failed for good is lost: nothing can report it any more.
    void noteTick(std::int64_t reported, bool fails, Duration delay)
    {
        auto const now = world.time.now();
        bool const again = now - m_tick.began < seconds(30.0);
        if (!again)
            m_tick.began = now;
        m_tick.seconds = fails ? reported : 0;
        m_tick.over = again ? now + delay : Instant::max(); // a second attempt follows
    }

    void backend(SimExchange const& exchange)
    {
        auto const& url = exchange.request().url;
        auto const body = *parseJson(exchange.request().body);
        auto const path = url.substr(url.rfind('/') + 1);
        auto const delay = seconds(between(0, 1.5));
        bool const fails = m_faults && chance(path == "start" ? 0.05 : 0.3);
        if (path == "tick")
            noteTick(jsonInteger(body, "seconds").value_or(0), fails, delay);
        if (path == "end" && m_open) { // not its repetition
            m_hostedUntil = world.time.now();
            m_open = false;
        }
        if (fails)
            return exchange.answer(Error{Error::Kind::networkConnectionLost, "lost"}, delay);
        if (path == "translate")
            return exchange.answer(
                HttpResponse{200, {}, jsonText({{"texts", {jsonString(body, "text").value_or("?")}}})}, delay);
        if (path == "start" && m_faults && chance(0.05))
            return exchange.answer(HttpResponse{200, {}, R"({"error":"Full","code":"at_capacity"})"}, delay);
        auto answer = Json{{"remaining_seconds", 1000}};
        if (path == "start" || jsonBool(body, "renew").value_or(false) || chance(0.1))
            answer.update({{"stt_key", newUuid()}, {"tts_key", newUuid()}});
        if (path == "start") {
            answer["session_id"] = m_session = newUuid();
            m_reported = 0;
            m_tick = {};
            m_hostedSince = world.time.now() + delay;
            m_open = true;
        } else if (jsonString(body, "session_id") == m_session) {
            m_reported += jsonInteger(body, "seconds").value_or(0);
        }
        if (path == "end") {
            auto const lost = static_cast<double>(m_tick.over > m_hostedUntil ? m_tick.seconds : 0);
            EXPECT_NEAR(static_cast<double>(m_reported) + lost, toSeconds(m_hostedUntil - m_hostedSince), 1.0)
                << "reported time is not the time run";
        }
        if (m_faults && path == "tick" && chance(0.05)) {
            answer["stop"] = true;
            m_open = false;
        }
        exchange.answer(HttpResponse{200, {}, jsonText(answer)}, delay);
    }

    void watch(Engine& engine)
    {
        engine.onSpeech = [this, &engine](TTSPipeline::Job const& job, Duration) {
            auto const clause = std::stoi(job.text.substr(job.text.find(' ') + 1));
            EXPECT_GT(clause, m_lastHeard[&engine]) << "heard twice, or out of order";
            m_lastHeard[&engine] = clause;
        };
    }

    void archived(SessionStore::Session const& session, Result<std::filesystem::path> const& file)
    {
        m_archived.insert(session.id);
        if (!file && m_diskBroken)
            return;
        ASSERT_TRUE(file) << file.error().message;
        auto const kept = SessionStore::read(*file);
        ASSERT_TRUE(kept);
        ASSERT_EQ(kept->lines.size(), model->transcript->size());
        for (std::size_t i = 0; i < kept->lines.size(); ++i)
            EXPECT_EQ(kept->lines[i].id, (*model->transcript)[i].id);
        EXPECT_EQ(kept->id, session.id);
    }

    /// Starts, and lets everything happen for a while.
    void live()
    {
        m_faults = chance(0.7);
        model->commands.start();
        if (chance(0.2))
            model->commands.start();
        if (chance(0.2))
            model->commands.stop(); // during a hosted start
        wait(between(0, 3));
        for (auto steps = m_random() % 30; steps > 0 && *model->running; --steps) {
            act();
            checkRunning();
        }
    }

    void playSession()
    {
        auto const before = m_archived.size();
        bool ran = false;
        bool hadLines = false;
        auto const watch = model->running.observe([&](bool running) {
            hadLines |= !running && ran && !model->transcript->empty();
            ran = running;
        });
        live();
        // What ends by itself has been archived by the same way.
        for (int i = 0; i < 100 && *model->status == "Connecting…"; ++i)
            wait(0.5);
        model->commands.stop();
        checkStopped();
        EXPECT_LE(m_archived.size() - before, 1U);
        EXPECT_TRUE(!hadLines || m_archived.size() > before) << "a session is lost";
    }

    /// At any moment, also while the session is opened.
    void quit()
    {
        live();
        app->quitNow();
        EXPECT_EQ(devices.input, 10U) << "before anything can hang";
        app->shutdown();
        checkStopped();
        EXPECT_EQ(std::count(trace.begin(), trace.end(), "terminate"), 1);
    }

    void act()
    {
        switch (m_random() % 16) {
        case 0:
            if (auto const peer = anyRecogniser(); peer && m_faults)
                peer->drop();
            break;
        case 1:
            if (auto const peer = anyRecogniser(); peer && m_faults)
                peer->sendText(
                    pick({R"({"tokens":)", "[]", R"({"tokens":[{"text":7}]})", R"({"error_code":429})", "\xff"}));
            break;
        case 2:
            model->commands.applyPreset(
                pick({Preset::videoCall, Preset::watchVideo, Preset::inPerson, Preset::textChat}));
            break;
        case 3:
            change([this](auto& settings) {
                settings.mode = pick({Mode::listen, Mode::speak, Mode::both});
                settings.tts = chance(0.8);
                settings.autoRouteMic = chance(0.5);
            });
            break;
        case 4:
            app->restartStreamsForContext();
            break;
        case 5:
            model->commands.pickMic(pick<std::optional<std::uint32_t>>({{}, 10, 11, 3, 99}));
            model->commands.pickListenOut(pick<std::optional<std::uint32_t>>({{}, 1, 2, 3, 99}));
            break;
        case 6:
            key.press(chance(0.5));
            capture.hear(std::string(3200, '\x20'));
            mic.hear(std::string(3200, '\x20'));
            break;
        case 7:
            wait(between(30, 150));
            break;
        case 8:
            model->commands.typeToSpeak("Typed.", [](std::string const&) {});
            break;
        case 9: // the headset is unplugged, or is there again
            if (std::erase_if(devices.inputList, [](auto const& device) { return device.id == 11; }) == 0)
                devices.inputList.push_back({11, "Headset"});
            if (std::erase_if(devices.outputList, [](auto const& device) { return device.id == 2; }) == 0)
                devices.outputList.push_back({2, "Headset"});
            model->commands.refreshDevices();
            break;
        case 10:
            app->providerReplaced();
            break;
        case 11:
            speakToBrokenDisk();
            break;
        default:
            speak();
        }
        wait(between(0, 2));
    }

    /// What cannot be written while the disk is away is written with the next line, or at the end.
    void speakToBrokenDisk()
    {
        auto const away = store.folder().string() + " away";
        std::error_code none;
        std::filesystem::rename(store.folder(), away, none);
        if (none)
            return; // nothing was kept yet
        m_diskBroken = true;
        std::ofstream(store.folder()) << "no folder";
        speak();
        std::filesystem::remove(store.folder());
        std::filesystem::rename(away, store.folder());
        m_diskBroken = false;
    }

    /// A live recogniser, of any direction.
    std::shared_ptr<SimPeer> anyRecogniser()
    {
        std::vector<std::shared_ptr<SimPeer>> live;
        for (auto const& [weak, frames] : m_recognisers) {
            auto peer = weak.lock();
            if (peer && !peer->gone && !peer->frames.empty())
                live.push_back(std::move(peer));
        }
        return live.empty() ? nullptr : live[m_random() % live.size()];
    }

    /// A clause that arrives while nothing else happens becomes one line.
    void speak()
    {
        auto const peer = anyRecogniser();
        if (!peer)
            return;
        auto const text = "Clause " + std::to_string(++m_clause) + ".";
        peer->sendText(jsonText({{"tokens",
            {{{"text", text}, {"is_final", true}, {"translation_status", "translation"}, {"language", "es"}}}}}));
        wait(0.05);
        if (peer->gone)
            return;
        EXPECT_EQ(std::count_if(model->transcript->begin(), model->transcript->end(),
                      [&](auto const& line) { return line.translation == text; }),
            1);
    }

    void checkRunning()
    {
        if (!*model->running)
            return;
        EXPECT_TRUE(model->startedAt->has_value());
        EXPECT_TRUE(capture.running || mic.running);
    }

    /// Pending timers after everything had time to calm down; a clause that the service never answers keeps its socket
    /// for five minutes.
    std::size_t rest()
    {
        wait(330);
        return world.time.timerCount();
    }

    void checkStopped()
    {
        EXPECT_FALSE(*model->running);
        EXPECT_FALSE(capture.running);
        EXPECT_FALSE(mic.running);
        EXPECT_FALSE(mic.muted);
        EXPECT_FALSE(key.watching);
        EXPECT_EQ(devices.input, 10U) << "the default input is given back";
        EXPECT_EQ(rest(), m_timersAtRest) << "timers are left";
        for (auto const& peer : world.network.peers())
            EXPECT_TRUE(peer->gone) << "a socket is left: " << peer->request.url;
        EXPECT_TRUE(app->idle() && assembly.hosted().idle());
        EXPECT_FALSE(m_open) << "the backend goes on metering";
        Journal::recover(store); // of a session that ended while the disk was away
        std::error_code none;
        EXPECT_TRUE(std::filesystem::is_empty(Journal::folder(store), none) || none) << "a journal is left";
    }

    struct Recogniser {
        std::weak_ptr<SimPeer> peer;
        std::size_t frames;
    };

    std::mt19937 m_random;
    bool m_hosted = false;
    bool m_faults = false;
    std::vector<Recogniser> m_recognisers;
    std::map<Engine*, int> m_lastHeard;
    int m_clause = 0;
    std::set<std::string> m_archived; ///< sessions
    bool m_diskBroken = false;
    std::string m_session; ///< of the backend
    bool m_open = false; ///< at the backend
    std::int64_t m_reported = 0; ///< seconds of that session, in calls that were answered
    struct Tick {
        Instant began{};
        Instant over{};
        std::int64_t seconds = 0; ///< not accepted
    } m_tick;
    Instant m_hostedSince{};
    Instant m_hostedUntil{};
    std::size_t m_timersAtRest = 0;
};

TEST(SessionSimulationTest, noFaultAndNoActionBreaksASession)
{
    auto const only = number("LINGRELAY_SEED", 0);
    auto const lives = only ? 1 : number("LINGRELAY_SEEDS", 8);
    for (std::uint32_t i = 0; i < lives; ++i) {
        auto const seed = only ? only : i + 1;
        SCOPED_TRACE("LINGRELAY_SEED=" + std::to_string(seed));
        Life(seed).play();
        if (HasFailure())
            return;
    }
}

} // namespace

} // namespace lingrelay
