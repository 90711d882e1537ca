#pragma once

#include <cmath>
#include <numbers>
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

} // namespace lingrelay
