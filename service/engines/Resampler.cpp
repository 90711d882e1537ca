#include "service/engines/Resampler.h"

#include <numbers>
#include <numeric>

namespace lingrelay::service {

namespace {

constexpr int reach = 16; ///< zero crossings of the sinc on each side
constexpr std::int64_t mostPhases = 512;
constexpr double passband = 0.94; ///< of the lower of the two half rates

double sinc(double x) { return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x); }

/// Blackman's window over -1 to 1.
double window(double x)
{
    if (x <= -1 || x >= 1)
        return 0;
    return 0.42 + 0.5 * std::cos(std::numbers::pi * x) + 0.08 * std::cos(2 * std::numbers::pi * x);
}

} // namespace

Resampler::Resampler(int from, int to)
    : m_up(to / std::gcd(from, to))
    , m_down(from / std::gcd(from, to))
    , m_phases(std::min(m_up, mostPhases))
{
    double const cutoff = passband * std::min(1.0, static_cast<double>(to) / from);
    int const half = static_cast<int>(std::ceil(reach / cutoff));
    m_length = 2 * half;
    m_taps.resize(static_cast<std::size_t>(m_phases * m_length));
    for (std::int64_t phase = 0; phase < m_phases; ++phase) {
        double const fraction = static_cast<double>(phase) / static_cast<double>(m_phases);
        double sum = 0;
        for (int i = 0; i < m_length; ++i) {
            double const distance = i - (half - 1) - fraction;
            double const value = cutoff * sinc(cutoff * distance) * window(distance / half);
            m_taps[static_cast<std::size_t>(phase * m_length + i)] = static_cast<float>(value);
            sum += value;
        }
        for (int i = 0; i < m_length; ++i)
            m_taps[static_cast<std::size_t>(phase * m_length + i)] /= static_cast<float>(sum);
    }
    m_input.assign(static_cast<std::size_t>(half - 1), 0);
}

std::vector<std::int16_t> Resampler::add(std::span<std::int16_t const> block)
{
    std::vector<std::int16_t> output;
    m_input.insert(m_input.end(), block.begin(), block.end());
    m_owed += static_cast<std::int64_t>(block.size()) * m_up;
    auto const available = static_cast<std::int64_t>(m_input.size());
    while (m_owed > 0 && m_position / m_up + m_length <= available) {
        auto const* input = &m_input[static_cast<std::size_t>(m_position / m_up)];
        auto const phase = m_position % m_up * m_phases / m_up;
        float sum = 0;
        for (int i = 0; i < m_length; ++i)
            sum += tap(phase, i) * static_cast<float>(input[i]);
        output.push_back(static_cast<std::int16_t>(std::lround(std::clamp(sum, -32768.0f, 32767.0f))));
        m_position += m_down;
        m_owed -= m_down;
    }
    auto const used = std::min(m_position / m_up, available);
    m_input.erase(m_input.begin(), m_input.begin() + used);
    m_position -= used * m_up;
    return output;
}

std::vector<std::int16_t> Resampler::finish()
{
    auto const owed = m_owed;
    std::vector<std::int16_t> const silence(static_cast<std::size_t>(m_length) + 1);
    auto output = add(silence);
    auto const samples = static_cast<std::size_t>((std::max<std::int64_t>(owed, 0) + m_down - 1) / m_down);
    if (output.size() > samples)
        output.resize(samples);
    return output;
}

} // namespace lingrelay::service
