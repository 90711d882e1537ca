#include "audio/PcmConversion.h"

#include <cstdint>

namespace lingrelay {

namespace {

std::int16_t toInt16(float sample)
{
    if (!(sample < 1.0F))
        return 32767;
    if (sample < -1.0F)
        return -32768;
    return static_cast<std::int16_t>(sample < 0 ? sample * 32768.0F : sample * 32767.0F);
}

} // namespace

std::string convertToInt16(std::span<float const> samples)
{
    std::string bytes;
    bytes.resize(samples.size() * 2);
    auto* out = bytes.data();
    for (auto const sample : samples) {
        auto const value = static_cast<std::uint16_t>(toInt16(sample));
        *out++ = static_cast<char>(value & 0xFF);
        *out++ = static_cast<char>(value >> 8);
    }
    return bytes;
}

} // namespace lingrelay
