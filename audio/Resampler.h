#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace lingrelay {

/// Mono sound of any rate to another rate, piece by piece: a windowed sinc, flat to about 86% of the lower half rate
/// and 80 dB down beyond it, so nothing folds back into speech. Output sample n stands for the input at n * in / out;
/// there is no delay to account for. One thread.
class Resampler {
public:
    Resampler(std::int64_t inputRate, std::int64_t outputRate);

    std::int64_t outputCount(std::int64_t inputCount) const;

    /// First input sample that output sample `output` looks at; may be below 0, where the input is silent.
    std::int64_t firstInput(std::int64_t output) const;
    /// Begins anew at output sample `output`: the next input pushed is `firstInput(output)`, or sample 0 if later.
    void restart(std::int64_t output);

    /// Takes the next input samples, and appends the output that they complete.
    void push(std::span<float const> input, std::vector<float>& output);
    /// The input has ended: appends what is left, `outputCount` samples in all.
    void finish(std::vector<float>& output);

private:
    void produce(std::vector<float>& output);
    float sampleAt(std::int64_t position, std::int64_t phase) const;

    std::int64_t m_in; ///< the two rates without their common divisor
    std::int64_t m_out;
    std::int64_t m_half; ///< input samples on each side
    std::int64_t m_phases;
    std::vector<float> m_kernel; ///< one row of 2 * m_half for each phase, and one more
    std::vector<float> m_buffer;
    std::int64_t m_bufferStart = 0; ///< input index of the first sample in m_buffer
    std::int64_t m_next = 0; ///< next output sample
};

} // namespace lingrelay
