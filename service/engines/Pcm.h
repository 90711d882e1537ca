#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace lingrelay::service {

/// 16-bit little-endian samples, the byte order of the machines we run on.

/// Takes the whole samples out of `bytes`; an odd byte stays.
inline std::vector<std::int16_t> takeSamples(std::string& bytes)
{
    std::vector<std::int16_t> samples(bytes.size() / 2);
    if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
    bytes.erase(0, samples.size() * 2);
    return samples;
}

inline std::string sampleBytes(std::vector<std::int16_t> const& samples)
{
    return {reinterpret_cast<char const*>(samples.data()), samples.size() * 2};
}

} // namespace lingrelay::service
