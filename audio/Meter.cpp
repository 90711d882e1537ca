#include "audio/Meter.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace lingrelay {

double Meter::feed(std::string_view pcm)
{
    constexpr std::size_t stride = 4;
    int peak = 0;
    for (std::size_t i = 0; i + 1 < pcm.size(); i += 2 * stride) {
        auto const sample = static_cast<std::int16_t>(
            static_cast<unsigned char>(pcm[i]) | (static_cast<unsigned char>(pcm[i + 1]) << 8));
        peak = std::max(peak, std::min(std::abs(static_cast<int>(sample)), 32767));
    }
    auto const instant = std::pow(peak / 32768.0, 0.6);
    m_value = std::max(instant, m_value * m_decay);
    return std::min(m_value, 1.0);
}

} // namespace lingrelay
