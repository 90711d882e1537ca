#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace lingrelay::service {

/// Tells speech from silence, 10 ms at a time. Mono 16-bit sound at 16,000 samples a second. One thread.
class SpeechDetector {
public:
    static constexpr std::size_t blockSamples = 160;
    /// How late it notices: speech counts from this much before `speech` turns true.
    static constexpr std::size_t startSamples = 3200;

    /// Speech ends after `pauseMs` of silence.
    explicit SpeechDetector(int pauseMs);
    ~SpeechDetector();

    /// Whether there is speech, after one block of blockSamples.
    bool speech(std::span<std::int16_t const> block);

private:
    struct FrontEnd;
    std::unique_ptr<FrontEnd> m_frontEnd;
};

} // namespace lingrelay::service
