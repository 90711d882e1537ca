#pragma once

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstddef>
#include <span>
#include <vector>

namespace lingrelay {

/// Samples on their way from one thread to one other, without a lock.
class SampleRing {
public:
    /// Rounded up to a power of two.
    explicit SampleRing(std::size_t capacity) : m_samples(std::bit_ceil(capacity)) { }

    /// The writer's thread; real time. All of them or, when they do not fit, none.
    bool write(std::span<float const> samples)
    {
        auto const written = m_written.load(std::memory_order_relaxed);
        if (m_samples.size() - (written - m_read.load(std::memory_order_acquire)) < samples.size())
            return false;
        auto const at = written & (m_samples.size() - 1);
        auto const first = std::min(samples.size(), m_samples.size() - at);
        std::copy_n(samples.begin(), first, m_samples.begin() + static_cast<std::ptrdiff_t>(at));
        std::copy(samples.begin() + static_cast<std::ptrdiff_t>(first), samples.end(), m_samples.begin());
        m_written.store(written + samples.size(), std::memory_order_release);
        return true;
    }

    /// Any thread; what the reader can have at the least.
    std::size_t size() const
    {
        return m_written.load(std::memory_order_acquire) - m_read.load(std::memory_order_acquire);
    }

    /// The reader's thread: as many as are asked for, which `size` has promised.
    void read(std::span<float> samples)
    {
        auto const read = m_read.load(std::memory_order_relaxed);
        auto const at = read & (m_samples.size() - 1);
        auto const first = std::min(samples.size(), m_samples.size() - at);
        auto const from = m_samples.begin() + static_cast<std::ptrdiff_t>(at);
        std::copy_n(from, first, samples.begin());
        std::copy_n(m_samples.begin(), samples.size() - first, samples.begin() + static_cast<std::ptrdiff_t>(first));
        m_read.store(read + samples.size(), std::memory_order_release);
    }

private:
    std::vector<float> m_samples;
    std::atomic<std::size_t> m_written = 0; ///< so far; never wrapped
    std::atomic<std::size_t> m_read = 0;
};

} // namespace lingrelay
