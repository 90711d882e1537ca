#pragma once

#include <span>
#include <string>

namespace lingrelay {

/// Floats to signed 16-bit little-endian PCM by the capture's own arithmetic: negative samples are scaled by 32768 and
/// others by 32767, truncated toward zero; beyond full scale they are clipped, and what is not a number is full scale.
std::string convertToInt16(std::span<float const> samples);

} // namespace lingrelay
