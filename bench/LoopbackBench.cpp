// The way of a message to the caption and of sound to the socket, against clients that do nothing else.

#include "base/Json.h"
#include "bench/LiveEngine.h"
#include "bench/Loopback.h"

#include <benchmark/benchmark.h>
#include <boost/asio/post.hpp>

#include <atomic>
#include <future>
#include <thread>

namespace lingrelay::bench {

namespace {

namespace asio = boost::asio;
namespace beast = boost::beast;

/// Counts on one thread, is waited for on another. Waiting spins: a sleeping thread's wake-up would be measured too.
class Counter {
public:
    void add() { m_count.fetch_add(1, std::memory_order_release); }
    void waitFor(std::size_t count) const
    {
        while (m_count.load(std::memory_order_acquire) < count)
            std::this_thread::yield();
    }

private:
    std::atomic<std::size_t> m_count = 0;
};

/// Previews of both languages and nothing final: one caption of each kind.
std::string previewMessage()
{
    auto tokens = Json::array();
    for (auto const* text : {"Good", " morning", " every", "one,"})
        tokens.push_back({{"text", text}, {"start_ms", 600}, {"end_ms", 760}, {"confidence", 0.97}, {"is_final", false},
            {"speaker", "1"}, {"language", "en"}, {"translation_status", "original"}});
    for (auto const* text : {"Buenos", " días", " a", " todos"})
        tokens.push_back({{"text", text}, {"confidence", 0.97}, {"is_final", false}, {"speaker", "1"},
            {"language", "es"}, {"source_language", "en"}, {"translation_status", "translation"}});
    return jsonText({{"tokens", tokens}, {"final_audio_proc_ms", 0}, {"total_audio_proc_ms", 880}});
}

/// An engine whose recogniser is this thread.
struct EngineAndPeer {
    EngineAndPeer()
    {
        engine->onCaption.connect([this](CaptionKind kind, std::string const&) {
            if (kind == CaptionKind::translation)
                captions.add();
        });
        engine->start(LiveEngine::settings());
        peer = server.accept();
        readMessage(*peer); // the configuration
    }

    Loopback server;
    Counter captions;
    LiveEngine engine{server.url(), server.url()};
    std::unique_ptr<Peer> peer;
};

/// The bare client: one thread, one asynchronous socket, every message thrown away.
struct BareClient {
    explicit BareClient(Loopback& server)
    {
        auto accepted = std::async(std::launch::async, [&] { return server.accept(); });
        client = server.connect(context);
        peer = accepted.get();
        read();
        thread = std::thread([this] { context.run(); });
    }
    ~BareClient()
    {
        context.stop();
        thread.join();
    }

    void read()
    {
        client->async_read(buffer, [this](beast::error_code error, std::size_t) {
            if (error)
                return;
            buffer.clear();
            received.add();
            read();
        });
    }
    /// One at a time: the library has no queue of its own.
    void send(std::string data)
    {
        written.waitFor(sent++);
        asio::post(context, [this, data = std::make_shared<std::string>(std::move(data))] {
            client->binary(true);
            client->async_write(asio::buffer(*data), [this, data](beast::error_code, std::size_t) { written.add(); });
        });
    }

    asio::io_context context;
    std::unique_ptr<Peer> client;
    std::unique_ptr<Peer> peer;
    beast::flat_buffer buffer;
    Counter received;
    Counter written;
    std::size_t sent = 0;
    std::thread thread;
};

void messageToCaption(benchmark::State& state)
{
    EngineAndPeer both;
    auto const message = previewMessage();
    std::size_t count = 0;
    for (auto _ : state) {
        writeText(*both.peer, message);
        both.captions.waitFor(++count);
    }
}

void messageToBareClient(benchmark::State& state)
{
    Loopback server;
    BareClient bare(server);
    auto const message = previewMessage();
    std::size_t count = 0;
    for (auto _ : state) {
        writeText(*bare.peer, message);
        bare.received.waitFor(++count);
    }
}

/// A tenth of a second of sound at 48 kHz, as the capture hands it over.
std::string soundBlock() { return std::string(9600, '\x11'); }

void soundToSocket(benchmark::State& state)
{
    EngineAndPeer both;
    for (auto _ : state) {
        both.engine->sendAudio(soundBlock());
        benchmark::DoNotOptimize(readMessage(*both.peer));
    }
}

void soundFromBareClient(benchmark::State& state)
{
    Loopback server;
    BareClient bare(server);
    for (auto _ : state) {
        bare.send(soundBlock());
        benchmark::DoNotOptimize(readMessage(*bare.peer));
    }
}

BENCHMARK(messageToCaption)->UseRealTime();
BENCHMARK(messageToBareClient)->UseRealTime();
BENCHMARK(soundToSocket)->UseRealTime();
BENCHMARK(soundFromBareClient)->UseRealTime();

} // namespace

} // namespace lingrelay::bench
