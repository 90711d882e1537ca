// From the final text of a clause to its first sound, beside what a bare client needs until it has as much sound as
// is wanted before a clause starts. Both take a fresh clause from the same synthesis service each time.

#include "base/Base64.h"
#include "base/Json.h"
#include "bench/LiveEngine.h"
#include "bench/Loopback.h"

#include <benchmark/benchmark.h>

#include <future>
#include <list>
#include <thread>

namespace lingrelay::bench {

namespace {

constexpr std::size_t leadIn = 24000; ///< bytes: half a second
constexpr std::size_t blockBytes = 4800; ///< a tenth of a second
constexpr int blocks = 8;
constexpr Duration blockInterval = seconds(0.02);

std::string endFrame() { return R"({"audio_end":true})"; }

std::string audioFrame() { return jsonText({{"audio", encodeBase64(std::string(blockBytes, '\x11'))}}); }

/// Answers each clause with eight blocks of sound, one every 20 ms.
class Synthesis {
public:
    Synthesis()
        : m_thread([this] {
            while (auto peer = m_server.accept()) {
                if (m_done)
                    return;
                m_clauses.push_back(std::async(std::launch::async, speak, std::move(peer)));
            }
        })
    {
    }
    ~Synthesis()
    {
        m_done = true;
        boost::asio::io_context context;
        m_server.connect(context); // wakes the thread
        m_thread.join();
    }

    Loopback& server() { return m_server; }

private:
    static void speak(std::unique_ptr<Peer> peer)
    {
        readMessage(*peer); // the configuration
        if (readMessage(*peer).empty())
            return; // a socket kept warm for nothing
        auto next = Clock::now();
        for (int i = 0; i < blocks; ++i) {
            std::this_thread::sleep_until(next += blockInterval);
            if (!writeText(*peer, audioFrame()))
                return;
        }
        writeText(*peer, endFrame());
        readMessage(*peer); // its close
    }

    Loopback m_server;
    std::atomic<bool> m_done = false;
    std::list<std::future<void>> m_clauses;
    std::thread m_thread;
};

std::string finalClause()
{
    return jsonText({{"tokens",
        {{{"text", "Good morning."}, {"is_final", true}, {"language", "en"}, {"translation_status", "original"}},
            {{"text", "Buenos días."}, {"is_final", true}, {"language", "es"},
                {"translation_status", "translation"}}}}});
}

std::string previewOfClause()
{
    return jsonText({{"tokens",
        {{{"text", "Buenos"}, {"is_final", false}, {"language", "es"}, {"translation_status", "translation"}}}}});
}

/// As long as a talker takes between the first preview and the end of a clause: a socket is ready by then.
void speakOn() { std::this_thread::sleep_for(seconds(0.1)); }

void clauseToFirstSound(benchmark::State& state)
{
    Loopback recogniser;
    Synthesis synthesis;
    LiveEngine engine(recogniser.url(), synthesis.server().url());
    std::promise<void> heard;
    engine->onSpeech = [&](TTSPipeline::Job const&, Duration) { heard.set_value(); };
    auto settings = LiveEngine::settings();
    settings.tts = true;
    engine->start(settings);
    auto const peer = recogniser.accept();
    readMessage(*peer); // the configuration
    for (auto _ : state) {
        heard = {};
        writeText(*peer, previewOfClause());
        speakOn();
        auto const started = Clock::now();
        writeText(*peer, finalClause());
        heard.get_future().wait();
        state.SetIterationTime(toSeconds(Clock::now() - started));
        std::this_thread::sleep_for(seconds(0.3)); // the rest of the clause
        engine->player().teardown();
    }
}

void bareClientToLeadIn(benchmark::State& state)
{
    Synthesis synthesis;
    for (auto _ : state) {
        boost::asio::io_context context;
        auto const peer = synthesis.server().connect(context);
        writeText(*peer, "{}");
        speakOn();
        auto const started = Clock::now();
        writeText(*peer, R"({"text":"Buenos días.","text_end":true})");
        for (std::size_t bytes = 0; bytes < leadIn; bytes += blockBytes)
            readMessage(*peer);
        state.SetIterationTime(toSeconds(Clock::now() - started));
    }
}

BENCHMARK(clauseToFirstSound)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(bareClientToLeadIn)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

} // namespace lingrelay::bench
