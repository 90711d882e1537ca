#pragma once

#include "base/Json.h"
#include "base/Result.h"
#include "base/Time.h"

#include <cstddef>
#include <deque>

namespace lingrelay::service {

/// How much one run of the service lets its clients do. Generous: it serves one user.
struct Limits {
    int sttStreams = 10;
    int sttRequestsAMinute = 600;
    double sttStreamMinutes = 300;
    int ttsConnections = 32;
    int ttsStreamsAConnection = 5;
    int ttsRequestsAMinute = 600;
    double ttsAudioSeconds = 120;
    double startSeconds = 10; ///< for the first message
    double idleSeconds = 20; ///< without audio and without a keep-alive
    std::size_t contextCharacters = 10000;

    /// Reads what `object` has in snake case ("stt_streams"); an unknown key or a value of another type is an error.
    static Result<Limits> parse(Json const& object);
};

/// Counts requests in the minute that ends now.
class MinuteCounter {
public:
    /// Counts one more; false when that is over the limit.
    bool admit(int limit, Instant now);

private:
    std::deque<Instant> m_times;
};

} // namespace lingrelay::service
