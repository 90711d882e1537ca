#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace lingrelay {

using Clock = std::chrono::steady_clock;
using Instant = Clock::time_point;
using Duration = Clock::duration;
using Date = std::chrono::system_clock::time_point;

/// Durations to and from seconds as doubles, the unit of settings, messages and records.
constexpr Duration seconds(double count)
{
    return std::chrono::duration_cast<Duration>(std::chrono::duration<double>(count));
}
constexpr double toSeconds(Duration duration) { return std::chrono::duration<double>(duration).count(); }

/// The next of the instants that all users of an interval share: what comes regularly comes together, and wakes the
/// processor once.
constexpr Instant nextBeat(Instant now, Duration interval)
{
    return now + interval - now.time_since_epoch() % interval;
}

/// ISO 8601 in UTC with whole seconds: "2026-03-01T12:30:05Z".
std::string iso8601(Date date);

/// Reads ISO 8601 internet date-times with "Z" or an offset, with or without fractional seconds.
std::optional<Date> parseIso8601(std::string_view text);

/// "HH:mm:ss" in the time zone of the system.
std::string clockTime(Date date);

} // namespace lingrelay
