// The player: one period of the sound card, and adding to a short and to a long queue.

#include "base/Time.h"
#include "bench/SilentOutputs.h"
#include "platform/sim/VirtualTime.h"
#include "speech/TTSPlayer.h"

#include <benchmark/benchmark.h>

#include <array>
#include <string>

namespace lingrelay::bench {

namespace {

constexpr double sourceRate = 24000;

std::string speechOf(double length)
{
    std::string pcm(static_cast<std::size_t>(length * sourceRate) * 2, '\0');
    for (std::size_t i = 0; i < pcm.size(); ++i)
        pcm[i] = static_cast<char>(i * 31);
    return pcm;
}

/// A player with a queue of tenths of a second.
class Playing {
public:
    explicit Playing(double queuedSeconds) { fill(queuedSeconds); }

    void fill(double queuedSeconds)
    {
        while (m_player->queuedSeconds() < queuedSeconds)
            m_player->enqueuePCM(m_block, sourceRate, false);
    }
    TTSPlayer& player() { return *m_player; }

private:
    VirtualTime m_time;
    VirtualScheduler m_scheduler{m_time};
    SilentOutputs m_outputs;
    std::string m_block = speechOf(0.1);
    std::shared_ptr<TTSPlayer> m_player = TTSPlayer::create(m_outputs, m_scheduler, m_scheduler);
};

void render256(benchmark::State& state)
{
    std::array<float, 256> out{};
    Playing playing(30);
    for (auto _ : state) {
        playing.player().render(out.data(), out.size());
        benchmark::DoNotOptimize(out);
        if (playing.player().queuedSeconds() < 1) {
            state.PauseTiming();
            playing.fill(30);
            state.ResumeTiming();
        }
    }
}

/// A millisecond of sound is added to a queue of `range` seconds: small, so that what is done under the lock shows.
void enqueue(benchmark::State& state)
{
    Playing playing(static_cast<double>(state.range(0)));
    auto const block = speechOf(0.001);
    std::array<float, 48> out{};
    for (auto _ : state) {
        auto const started = Clock::now();
        playing.player().enqueuePCM(block, sourceRate, false);
        state.SetIterationTime(toSeconds(Clock::now() - started));
        playing.player().render(out.data(), out.size());
    }
}

/// The same where the queue is cut to its last 8 seconds: once for each iteration.
void enqueueAndCut(benchmark::State& state)
{
    auto const block = speechOf(0.001);
    for (auto _ : state) {
        Playing playing(static_cast<double>(state.range(0)));
        auto const started = Clock::now();
        playing.player().enqueuePCM(block, sourceRate, true);
        state.SetIterationTime(toSeconds(Clock::now() - started));
    }
}

BENCHMARK(render256);
BENCHMARK(enqueue)->Arg(10)->Arg(600)->UseManualTime()->Iterations(20000);
BENCHMARK(enqueueAndCut)->Arg(10)->Arg(600)->UseManualTime()->Iterations(15);

} // namespace

} // namespace lingrelay::bench
