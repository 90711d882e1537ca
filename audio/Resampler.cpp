#include "audio/Resampler.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace lingrelay {

namespace {

constexpr int zeroCrossings = 32; ///< on each side, at the lower of the two rates
constexpr double kaiserBeta = 8.0; ///< about 80 dB
constexpr double cutoff = 0.93; ///< the middle of the slope, as a share of the lower half rate
constexpr std::int64_t mostPhases = 1024; ///< rates that need more are interpolated between phases

double bessel0(double x)
{
    double sum = 1;
    double term = 1;
    for (int k = 1; term > sum * 1e-12; ++k) {
        term *= (x / (2 * k)) * (x / (2 * k));
        sum += term;
    }
    return sum;
}

double windowedSinc(double distance, double half, double scale)
{
    auto const place = distance / half;
    if (std::abs(place) >= 1)
        return 0;
    auto const angle = std::numbers::pi * distance * scale;
    auto const sinc = std::abs(angle) < 1e-9 ? 1.0 : std::sin(angle) / angle;
    return scale * sinc * bessel0(kaiserBeta * std::sqrt(1 - place * place)) / bessel0(kaiserBeta);
}

/// Eight sums side by side, which the compiler turns into vector code without changing the order of additions.
float dot(float const* a, float const* b, std::size_t count)
{
    float sums[8] = {};
    for (std::size_t i = 0; i + 8 <= count; i += 8) {
        for (std::size_t k = 0; k < 8; ++k)
            sums[k] += a[i + k] * b[i + k];
    }
    for (std::size_t i = count / 8 * 8; i < count; ++i)
        sums[0] += a[i] * b[i];
    return ((sums[0] + sums[4]) + (sums[2] + sums[6])) + ((sums[1] + sums[5]) + (sums[3] + sums[7]));
}

} // namespace

Resampler::Resampler(std::int64_t inputRate, std::int64_t outputRate)
    : m_in(inputRate / std::gcd(inputRate, outputRate))
    , m_out(outputRate / std::gcd(inputRate, outputRate))
{
    auto const scale = std::min(1.0, static_cast<double>(m_out) / static_cast<double>(m_in)) * cutoff;
    m_half = static_cast<std::int64_t>(std::ceil(zeroCrossings / scale / 4)) * 4;
    m_phases = std::min(m_out, mostPhases);
    auto const width = 2 * m_half;
    m_kernel.resize(static_cast<std::size_t>((m_phases + 1) * width));
    auto* coefficient = m_kernel.data();
    for (std::int64_t phase = 0; phase <= m_phases; ++phase) {
        auto const fraction = static_cast<double>(phase) / static_cast<double>(m_phases);
        for (std::int64_t tap = 0; tap < width; ++tap) {
            auto const distance = static_cast<double>(tap - m_half + 1) - fraction;
            *coefficient++ = static_cast<float>(windowedSinc(distance, static_cast<double>(m_half), scale));
        }
    }
    restart(0);
}

std::int64_t Resampler::outputCount(std::int64_t inputCount) const { return (inputCount * m_out + m_in - 1) / m_in; }

std::int64_t Resampler::firstInput(std::int64_t output) const { return output * m_in / m_out - m_half + 1; }

void Resampler::restart(std::int64_t output)
{
    m_next = output;
    m_bufferStart = firstInput(output);
    m_buffer.assign(static_cast<std::size_t>(std::max<std::int64_t>(0, -m_bufferStart)), 0.0F);
}

void Resampler::push(std::span<float const> input, std::vector<float>& output)
{
    m_buffer.insert(m_buffer.end(), input.begin(), input.end());
    produce(output);
}

void Resampler::finish(std::vector<float>& output)
{
    auto const inputCount = m_bufferStart + static_cast<std::int64_t>(m_buffer.size());
    auto const missing = outputCount(inputCount) - m_next;
    m_buffer.insert(m_buffer.end(), static_cast<std::size_t>(m_half), 0.0F);
    auto const before = output.size();
    produce(output);
    output.resize(before + static_cast<std::size_t>(std::max<std::int64_t>(0, missing)));
}

void Resampler::produce(std::vector<float>& output)
{
    auto const end = m_bufferStart + static_cast<std::int64_t>(m_buffer.size());
    for (;; ++m_next) {
        auto const position = m_next * m_in / m_out;
        if (position + m_half >= end)
            break;
        output.push_back(sampleAt(position - m_half + 1 - m_bufferStart, m_next * m_in % m_out));
    }
    auto const used = std::min(firstInput(m_next), end) - m_bufferStart;
    m_buffer.erase(m_buffer.begin(), m_buffer.begin() + used);
    m_bufferStart += used;
}

float Resampler::sampleAt(std::int64_t position, std::int64_t phase) const
{
    auto const width = static_cast<std::size_t>(2 * m_half);
    auto const* input = m_buffer.data() + position;
    auto const scaled = phase * m_phases;
    auto const* row = m_kernel.data() + static_cast<std::size_t>(scaled / m_out) * width;
    auto const first = dot(input, row, width);
    auto const remainder = scaled % m_out;
    if (remainder == 0)
        return first;
    auto const share = static_cast<float>(remainder) / static_cast<float>(m_out);
    return first + share * (dot(input, row + width, width) - first);
}

} // namespace lingrelay
