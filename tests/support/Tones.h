#pragma once

#include <cmath>
#include <cstring>
#include <numbers>
#include <span>
#include <string_view>
#include <vector>

namespace lingrelay {

inline std::vector<float> tone(double frequency, double rate, double length, double level = 0.5)
{
    std::vector<float> samples(static_cast<std::size_t>(rate * length));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i]
            = static_cast<float>(level * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
    return samples;
}

/// Root mean square in decibels of the middle, away from the ends.
inline double levelOf(std::vector<float> const& samples)
{
    double sum = 0;
    auto const edge = samples.size() / 10;
    for (std::size_t i = edge; i < samples.size() - edge; ++i)
        sum += static_cast<double>(samples[i]) * samples[i];
    return 10 * std::log10(sum / static_cast<double>(samples.size() - 2 * edge) + 1e-20);
}

/// 16-bit PCM as floats.
inline std::vector<float> samplesOf(std::string_view pcm)
{
    std::vector<float> samples(pcm.size() / 2);
    for (std::size_t i = 0; i < samples.size(); ++i) {
        std::int16_t value = 0;
        std::memcpy(&value, pcm.data() + 2 * i, 2);
        samples[i] = static_cast<float>(value) / 32768.0F;
    }
    return samples;
}

struct ToneFit {
    double level = 0;
    double delay = 0; ///< seconds, of less than half a period
    double rest = 0; ///< what is not the tone, root mean square
};

/// How much of a tone that is 0 and rises at the first sample there is.
inline ToneFit fitTone(std::span<float const> samples, double frequency, double rate)
{
    double in = 0;
    double across = 0;
    auto const omega = 2 * std::numbers::pi * frequency / rate;
    auto const count = static_cast<double>(samples.size());
    for (std::size_t i = 0; i < samples.size(); ++i) {
        in += samples[i] * std::sin(omega * static_cast<double>(i)) * 2 / count;
        across += samples[i] * std::cos(omega * static_cast<double>(i)) * 2 / count;
    }
    double rest = 0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        auto const angle = omega * static_cast<double>(i);
        rest += std::pow(samples[i] - in * std::sin(angle) - across * std::cos(angle), 2) / count;
    }
    return {std::hypot(in, across), -std::atan2(across, in) / omega / rate, std::sqrt(rest)};
}

} // namespace lingrelay
