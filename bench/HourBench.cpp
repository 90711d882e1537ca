// One hour of a talk in both directions, with sound, text and voices, in virtual time: the cost of all but the kernel.

#include "base/Base64.h"
#include "bench/Conversation.h"
#include "core/Engine.h"
#include "tests/support/World.h"

#include <benchmark/benchmark.h>

namespace lingrelay::bench {

namespace {

constexpr Duration messageInterval = seconds(0.125);
constexpr Duration soundInterval = seconds(0.1);
constexpr Duration period = seconds(256.0 / 48000);
constexpr Duration turn = seconds(12.0); ///< the talkers alternate

std::string quietMessage() { return R"({"tokens":[],"final_audio_proc_ms":1000,"total_audio_proc_ms":1000})"; }

/// The provider's side: one recogniser for each direction, and a voice for every clause.
class Provider {
public:
    explicit Provider(World& world)
        : m_world(world)
        , m_audio(jsonText({{"audio", encodeBase64(std::string(4800, '\x11'))}}))
    {
        world.network.onConnect = [this](SimPeer& peer) { connected(peer); };
    }

    std::size_t clauses = 0;

private:
    struct Recogniser {
        std::shared_ptr<SimPeer> peer;
        bool speaksFirst;
        Conversation conversation;
    };

    void connected(SimPeer& peer)
    {
        peer.accept();
        auto const isRecogniser = peer.request.url.find("transcribe") != std::string::npos;
        peer.onFrame = [this, &peer, isRecogniser](SimPeer::Frame const& frame) {
            if (!isRecogniser)
                speak(peer, jsonString(parseJson(frame.data).value_or(Json()), "text").value_or(""));
            peer.frames.clear(); // an hour of sound is not to be kept
        };
        if (!isRecogniser)
            return;
        m_recognisers.push_back({peer.shared_from_this(), m_recognisers.empty(), {}});
        if (m_recognisers.size() == 1)
            recognise();
    }

    void recognise()
    {
        bool const oddTurn = (m_world.time.now().time_since_epoch() / turn) % 2 == 1;
        for (auto& recogniser : m_recognisers)
            recogniser.peer->sendText(
                recogniser.speaksFirst != oddTurn ? recogniser.conversation.next() : quietMessage());
        m_world.main.startTimer(m_world.time.now() + messageInterval, [this] { recognise(); });
    }

    /// About fifteen characters a second, five times as fast as it is heard.
    void speak(SimPeer& peer, std::string const& text)
    {
        if (text.empty())
            return;
        ++clauses;
        auto const blocks = static_cast<int>(text.size() * 2 / 3);
        for (int i = 0; i < blocks; ++i)
            peer.sendText(m_audio, seconds(0.1 + 0.02 * i));
        peer.sendText(R"({"terminated":true})", seconds(0.1 + 0.02 * blocks));
    }

    World& m_world;
    std::string m_audio;
    std::vector<Recogniser> m_recognisers;
};

/// One direction: an engine that is fed sound and pulled for sound.
class Direction {
public:
    Direction(World& world, std::string tag) : m_world(world), m_block(9600, '\x11')
    {
        m_engine = Engine::create(
            {world.network, world.streamScheduler, world.pipelineScheduler, world.background, m_outputs});
        m_engine->tag = std::move(tag);
        m_engine->onCaption = [this](std::string const&, std::string const&) { ++captions; };
        AppSettings settings;
        settings.sourceLang = "en";
        settings.targetLang = "es";
        m_engine->start(settings);
        m_outputs.runOn(world.background, period);
        capture();
    }
    ~Direction() { m_engine->stop(); }

    std::size_t captions = 0;

private:
    void capture()
    {
        m_engine->sendAudio(m_block);
        m_world.main.startTimer(m_world.time.now() + soundInterval, [this] { capture(); });
    }

    World& m_world;
    std::string m_block;
    SimAudioOutputs m_outputs;
    std::shared_ptr<Engine> m_engine;
};

void hourOfTalk(benchmark::State& state)
{
    for (auto _ : state) {
        World world;
        world.defaults.set("k.soniox", "bench");
        Provider provider(world);
        Direction listen(world, "listen");
        Direction speak(world, "speak");
        world.time.advance(std::chrono::hours(1));
        if (listen.captions == 0 || speak.captions == 0 || provider.clauses == 0)
            state.SkipWithError("nothing was said");
        state.counters["captions"] = static_cast<double>(listen.captions + speak.captions);
        state.counters["clauses"] = static_cast<double>(provider.clauses);
    }
}

BENCHMARK(hourOfTalk)->Unit(benchmark::kSecond)->Iterations(1);

} // namespace

} // namespace lingrelay::bench
