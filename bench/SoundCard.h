#pragma once

// The clocks of a sound card that no machine has: what a program costs that is woken by one, without a sound server.

#include "base/Time.h"

#include <algorithm>
#include <random>
#include <thread>
#include <vector>

namespace lingrelay::bench {

constexpr double cardRate = 48000; ///< Hz
constexpr std::size_t cardOutputFrames = 1024; ///< what a sound server asks an output for at a time

/// Calls a job at the pace of so many frames, on a thread of its own, until it is destroyed.
class Beat {
public:
    template <class F>
    Beat(std::size_t frames, F job)
        : m_thread([frames, job](std::stop_token const& stop) {
            auto const period = std::chrono::duration_cast<Duration>(
                std::chrono::duration<double>(static_cast<double>(frames) / cardRate));
            for (auto next = Clock::now(); !stop.stop_requested(); std::this_thread::sleep_until(next += period))
                job();
        })
    {
    }

private:
    std::jthread m_thread;
};

/// What a microphone hears all the time: mono, from -0.5 to 0.5.
inline std::vector<float> noise(std::size_t frames)
{
    std::mt19937 random(1);
    std::uniform_real_distribution<float> level(-0.5F, 0.5F);
    std::vector<float> block(frames);
    std::generate(block.begin(), block.end(), [&] { return level(random); });
    return block;
}

} // namespace lingrelay::bench
