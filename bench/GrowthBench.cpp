// A talk of five hours in both directions through the whole program but for its windows, in virtual time: what a minute
// costs and what is held, from the first one to the last. The cost of all but the kernel.

#include "base/Base64.h"
#include "bench/Conversation.h"
#include "bench/CpuClock.h"
#include "bench/Rows.h"
#include "tests/support/Desk.h"

#include <benchmark/benchmark.h>

#include <malloc.h>

namespace lingrelay::bench {

namespace {

constexpr Duration messageInterval = seconds(0.125);
constexpr Duration soundInterval = seconds(0.1);
constexpr Duration turn = seconds(12.0); ///< the talkers alternate
constexpr Duration minute = std::chrono::minutes(1);
constexpr int lastMinute = 300; ///< as long as a recogniser's stream may be
constexpr int span = 5; ///< minutes that are measured together

std::string quietMessage() { return R"({"tokens":[],"final_audio_proc_ms":1000,"total_audio_proc_ms":1000})"; }

/// Both talkers and the provider: sound for both directions, words in turns, and a voice for every clause.
class Talk : public Desk {
public:
    Talk() : m_audio(jsonText({{"audio", encodeBase64(std::string(4800, '\x11'))}})), m_block(3200, '\x11')
    {
        world.network.onConnect = [this](SimPeer& peer) { connected(peer); };
        AppSettings settings;
        settings.sourceLang = settings.myLang = "en";
        settings.targetLang = settings.theirLang = "es";
        settings.mode = AppSettings::Mode::both;
        set(settings);
        launch();
        app->startFromUI();
        speakAndHear();
        recognise();
    }

    ~Talk() { end(); }

    /// Lets the minutes pass and gives the processor's seconds.
    double pass(int minutes)
    {
        auto const started = threadSeconds();
        for (int i = 0; i < minutes; ++i) {
            world.time.advance(minute);
            // What the desk notes down is not the program's.
            world.network.forgetPeers();
            world.log.clear();
            trace.clear();
            overlay.captions.clear();
            overlay.statuses.clear();
        }
        return threadSeconds() - started;
    }

    std::size_t lines() const { return model->transcript->size(); }
    Date::duration sinceLastLine() const
    {
        return lines() == 0 ? Date::duration::max() : world.main.date() - model->transcript->back().at;
    }

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
            peer.frames.clear();
        };
        if (isRecogniser)
            m_recognisers.push_back({peer.shared_from_this(), m_recognisers.empty(), {}});
    }

    void speakAndHear()
    {
        capture.hear(m_block);
        mic.hear(m_block);
        world.main.startTimer(world.time.now() + soundInterval, [this] { speakAndHear(); });
    }

    void recognise()
    {
        bool const oddTurn = (world.time.now().time_since_epoch() / turn) % 2 == 1;
        for (auto& recogniser : m_recognisers)
            recogniser.peer->sendText(
                recogniser.speaksFirst != oddTurn ? recogniser.conversation.next() : quietMessage());
        world.main.startTimer(world.time.now() + messageInterval, [this] { recognise(); });
    }

    /// About fifteen characters a second, five times as fast as it is heard.
    void speak(SimPeer& peer, std::string const& text)
    {
        if (text.empty())
            return;
        auto const blocks = static_cast<int>(text.size() * 2 / 3);
        for (int i = 0; i < blocks; ++i)
            peer.sendText(m_audio, seconds(0.1 + 0.02 * i));
        peer.sendText(R"({"terminated":true})", seconds(0.1 + 0.02 * blocks));
    }

    std::string m_audio;
    std::string m_block;
    std::vector<Recogniser> m_recognisers;
};

/// MiB on the heap, large blocks too.
double held()
{
    auto const heap = ::mallinfo2();
    return static_cast<double>(heap.uordblks + heap.hblkhd) / (1 << 20);
}

void fiveHoursOfTalk(benchmark::State& state)
{
    for (auto _ : state) {
        auto const before = held();
        Talk talk;
        talk.pass(1); // connections and first voices
        double const first = talk.pass(span) / span;
        double const heldFirst = held() - before;
        talk.pass(lastMinute / 2 - 1 - span); // the transcript is as long as it gets
        double const heldMiddle = held() - before;
        talk.pass(lastMinute / 2 - span);
        double const last = talk.pass(span) / span;
        double const heldLast = held() - before;
        if (talk.sinceLastLine() > minute)
            state.SkipWithError("they have fallen silent");
        state.counters["ms a minute at first"] = first * 1e3;
        state.counters["at last"] = last * 1e3;
        state.counters["MiB at first"] = heldFirst;
        state.counters["in the middle"] = heldMiddle;
        state.counters["at last, MiB"] = heldLast;
        state.counters["lines"] = static_cast<double>(talk.lines());
        addRow("a minute of talk after five hours, virtual time", "ms", last * 1e3, "first minutes", first * 1e3,
            Judge::ratio, 1.2);
        addRow("memory after five hours, virtual time", "MiB", heldLast, "after 2.5 hours", heldMiddle, Judge::ratio,
            1.05);
    }
}

BENCHMARK(fiveHoursOfTalk)->Unit(benchmark::kSecond)->Iterations(1)->Repetitions(1);

} // namespace

} // namespace lingrelay::bench
