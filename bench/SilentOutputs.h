#pragma once

#include "platform/AudioOutput.h"

namespace lingrelay::bench {

/// A device that exists and never asks for sound: the benchmark calls the renderer itself. One thread.
class SilentOutputs final : public AudioOutputs {
public:
    static constexpr double rate = 48000;

    std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t>, AudioRenderer&) override
    {
        return std::make_unique<Output>();
    }
    std::shared_ptr<void> watchDefault(std::function<void()>) override { return nullptr; }

private:
    struct Output final : AudioOutput {
        double sampleRate() const override { return rate; }
    };
};

} // namespace lingrelay::bench
