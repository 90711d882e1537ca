// Folding the recogniser's messages: its cost at the first minute of a stream and at the three hundredth.

#include "base/Json.h"
#include "bench/Conversation.h"
#include "bench/CpuClock.h"
#include "platform/sim/VirtualTime.h"
#include "speech/SonioxStream.h"

#include <benchmark/benchmark.h>

#include <optional>

namespace lingrelay::bench {

namespace {

class NoNetwork final : public Network {
public:
    std::shared_ptr<WebSocket> connect(WebSocketRequest, Scheduler&) override { return nullptr; }
    void exchange(HttpRequest, Scheduler&, std::function<void(Result<HttpResponse>)>) override { }
};

/// A stream that never connects: messages are handed to it.
class Folding {
public:
    Folding()
    {
        auto const count = [this](std::string const& text, bool) { m_heard += text.size(); };
        m_stream->onOriginal = count;
        m_stream->onTranslation = count;
    }

    void fold(std::vector<std::string> const& messages)
    {
        for (auto const& message : messages)
            m_stream->handle(message);
        benchmark::DoNotOptimize(m_heard);
    }

private:
    VirtualTime m_time;
    VirtualScheduler m_scheduler{m_time};
    NoNetwork m_network;
    std::size_t m_heard = 0;
    std::shared_ptr<SonioxStream> m_stream = SonioxStream::create(m_network, m_scheduler, "en", "es", 48000);
};

std::vector<std::string> minuteOf(Conversation& conversation)
{
    std::vector<std::string> messages(Conversation::messagesPerMinute);
    for (auto& message : messages)
        message = conversation.next();
    return messages;
}

void report(benchmark::State& state, std::size_t tokensPerIteration)
{
    state.counters["tokens"]
        = benchmark::Counter(static_cast<double>(tokensPerIteration), benchmark::Counter::kIsIterationInvariantRate);
}

/// Each iteration folds one minute of messages on a stream that has folded `range` minutes and little more.
void foldMinute(benchmark::State& state)
{
    Conversation conversation;
    auto const before = minuteOf(conversation);
    auto const tokensBefore = conversation.tokens();
    auto const measured = minuteOf(conversation);
    std::optional<Folding> folding;
    for (auto _ : state) {
        if (!folding || state.range(0) < 10) {
            folding.emplace();
            for (std::int64_t minute = 0; minute < state.range(0); ++minute)
                folding->fold(before);
        }
        auto const started = threadSeconds();
        folding->fold(measured);
        state.SetIterationTime(threadSeconds() - started);
    }
    report(state, conversation.tokens() - tokensBefore);
}

/// The floor: the same messages parsed as JSON and nothing else.
void parseMinute(benchmark::State& state)
{
    Conversation conversation;
    auto const messages = minuteOf(conversation);
    for (auto _ : state) {
        auto const started = threadSeconds();
        for (auto const& message : messages)
            benchmark::DoNotOptimize(parseJson(message));
        state.SetIterationTime(threadSeconds() - started);
    }
    report(state, conversation.tokens());
}

BENCHMARK(foldMinute)->Arg(1)->Arg(300)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);
BENCHMARK(parseMinute)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

} // namespace lingrelay::bench
