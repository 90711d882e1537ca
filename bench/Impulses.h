#pragma once

#include "base/Time.h"
#include "bench/BareStream.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include <sys/types.h>

namespace lingrelay::bench {

/// When something happened for the first time since it was cleared. Any thread, and any process that shares its memory.
class Moment {
public:
    void clear() { m_at = 0; }
    void note(Duration before = {})
    {
        Duration::rep expected = 0;
        m_at.compare_exchange_strong(expected, (Clock::now().time_since_epoch() - before).count());
    }
    std::optional<Instant> when() const
    {
        auto const at = m_at.load();
        return at ? std::optional(Instant(Duration(at))) : std::nullopt;
    }

private:
    std::atomic<Duration::rep> m_at = 0;
};

/// Notes when the first loud sample comes. One thread hears, another asks.
class Ear {
public:
    Moment heard;

    /// With a rate the time goes back to when that sample would have come alone: the rest of its block is not counted.
    template <class Sample> void hear(std::span<Sample> samples, double rate = 0)
    {
        constexpr auto fullScale = std::is_floating_point_v<Sample> ? 1.0 : 32768.0;
        auto const loud = std::find_if(samples.begin(), samples.end(),
            [](Sample sample) { return std::abs(static_cast<double>(sample)) > threshold * fullScale; });
        if (loud != samples.end())
            heard.note(seconds(rate > 0 ? static_cast<double>(samples.end() - loud) / rate : 0));
    }

private:
    static constexpr double threshold = 0.2;
};

/// Something that makes a loud sound when asked to, and notes when.
class Sounder {
public:
    virtual ~Sounder() = default;
    virtual void sound(Moment& made) = 0;
};

/// Another program that plays into a device, silence but for its sounds.
class ForeignProgram final : public Sounder {
public:
    static constexpr char const* nodeName = "bench.program";

    explicit ForeignProgram(std::string const& target);
    ~ForeignProgram() override;
    ForeignProgram(ForeignProgram const&) = delete;
    ForeignProgram& operator=(ForeignProgram const&) = delete;

    void sound(Moment& made) override;

    /// The program itself, when main() was started as one with these arguments; it ends with its parent.
    static std::optional<int> run(std::span<char*> arguments);

private:
    struct Shared;
    int m_memory;
    Shared* m_shared;
    pid_t m_process = -1;
};

/// Milliseconds from a sound to its hearing, of many.
class Delays {
public:
    void add(Duration delay) { m_milliseconds.push_back(toSeconds(delay) * 1e3); }
    void addLost() { ++m_lost; }
    bool empty() const { return m_milliseconds.empty(); }
    std::size_t count() const { return m_milliseconds.size(); }
    int lost() const { return m_lost; }
    /// Below which a share of them lies.
    double quantile(double share) const;

private:
    std::vector<double> m_milliseconds;
    int m_lost = 0;
};

/// From a sounder to an ear.
struct Way {
    Sounder& sounder;
    Ear& ear;
    Delays& delays;
};

/// Waits until both ways carry sound; then lets each sound `count` times, evenly over the steps of the server that
/// `stream` belongs to. Two ways of one sounder hear the same sound. False when one stays silent.
bool measure(Way const& floor, Way const& measured, BareStream const& stream, int count);

} // namespace lingrelay::bench
