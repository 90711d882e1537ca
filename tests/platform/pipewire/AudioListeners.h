#pragma once

#include "platform/AudioInput.h"
#include "platform/AudioOutput.h"
#include "tests/support/Tones.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <mutex>
#include <numbers>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace lingrelay {

/// Keeps what an input hands over.
class HeardSound final : public AudioReceiver {
public:
    explicit HeardSound(double rate = 16000, std::size_t channels = 1) : m_rate(rate), m_channels(channels) { }

    void receive(std::span<float const> samples) override
    {
        std::lock_guard const lock(m_mutex);
        m_samples.insert(m_samples.end(), samples.begin(), samples.end());
        m_shortest = std::min(m_shortest, samples.size());
        m_longest = std::max(m_longest, samples.size());
    }
    void started() override { note("started"); }
    void failed(Error const& error) override { note("failed: " + error.message); }

    std::vector<std::string> events() const
    {
        std::lock_guard const lock(m_mutex);
        return m_events;
    }
    std::string lastEvent() const { return events().empty() ? "" : events().back(); }
    std::size_t count() const
    {
        std::lock_guard const lock(m_mutex);
        return m_samples.size();
    }
    /// Lengths of the blocks that came.
    std::pair<std::size_t, std::size_t> blocks() const
    {
        std::lock_guard const lock(m_mutex);
        return {m_shortest, m_longest};
    }
    /// What has come since the last call.
    std::vector<float> take()
    {
        std::lock_guard const lock(m_mutex);
        return std::exchange(m_samples, {});
    }
    /// Of a tone, in the last fifth of a second; 0 before so much has come since `take`.
    double level(double frequency) const { return fitTone(last(0.2), frequency, m_rate).level; }
    /// The loudest that the tone has been since `take`.
    double loudest(double frequency) const
    {
        std::lock_guard const lock(m_mutex);
        auto const piece = static_cast<std::size_t>(m_rate / 10) * m_channels;
        double most = 0;
        for (std::size_t at = 0; at + piece <= m_samples.size(); at += piece)
            most = std::max(most, fitTone(channel(at, piece), frequency, m_rate).level);
        return most;
    }

private:
    void note(std::string event)
    {
        std::lock_guard const lock(m_mutex);
        m_events.push_back(std::move(event));
    }
    std::vector<float> last(double length) const
    {
        std::lock_guard const lock(m_mutex);
        auto const count = static_cast<std::size_t>(m_rate * length) * m_channels;
        return m_samples.size() < count ? std::vector<float>(1) : channel(m_samples.size() - count, count);
    }
    std::vector<float> channel(std::size_t from, std::size_t count) const
    {
        std::vector<float> samples;
        for (std::size_t i = from; i < from + count; i += m_channels)
            samples.push_back(m_samples[i]);
        return samples;
    }

    double const m_rate;
    std::size_t const m_channels;
    mutable std::mutex m_mutex;
    std::vector<std::string> m_events;
    std::vector<float> m_samples;
    std::size_t m_shortest = SIZE_MAX;
    std::size_t m_longest = 0;
};

/// A tone of this program's own, at level 0.5.
class OwnTone final : public AudioRenderer {
public:
    explicit OwnTone(double frequency = 1000, double rate = 48000) : m_step(2 * std::numbers::pi * frequency / rate) { }

    void render(float* out, std::size_t frames) override
    {
        for (std::size_t i = 0; i < frames; ++i, m_phase += m_step)
            out[i] = static_cast<float>(0.5 * std::sin(m_phase));
        m_frames += frames;
    }
    std::size_t frames() const { return m_frames; }

private:
    double m_step;
    double m_phase = 0;
    std::atomic<std::size_t> m_frames = 0;
};

} // namespace lingrelay
