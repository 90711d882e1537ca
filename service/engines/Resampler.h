#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace lingrelay::service {

/// Changes the sample rate of mono 16-bit sound, block by block, with a windowed sinc. One thread.
class Resampler {
public:
    /// Rates in samples a second, both above 0.
    Resampler(int from, int to);

    /// What can be computed of the output so far; the rest waits for the next block.
    std::vector<std::int16_t> add(std::span<std::int16_t const> block);
    /// The rest, as if silence followed.
    std::vector<std::int16_t> finish();

private:
    float tap(std::int64_t phase, int index) const
    {
        return m_taps[static_cast<std::size_t>(phase * m_length + index)];
    }

    std::int64_t m_up; ///< output samples for each m_down input samples
    std::int64_t m_down;
    std::int64_t m_phases; ///< of the filter that are kept: m_up, or fewer for odd rates
    int m_length; ///< taps of each phase
    std::vector<float> m_taps;
    std::vector<std::int16_t> m_input; ///< what the next output sample needs, and later
    std::int64_t m_position = 0; ///< of the next output sample in m_input, in 1/m_up samples
    std::int64_t m_owed = 0; ///< output samples that the input so far is worth, in 1/m_down
};

} // namespace lingrelay::service
