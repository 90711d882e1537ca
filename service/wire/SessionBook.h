#pragma once

#include "base/Json.h"
#include "base/Result.h"
#include "base/Time.h"

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lingrelay::service {

/// The accounts of the session protocol: who runs a session, which keys are good, how much time is left. One thread.
///
/// Every answer is the JSON body of a response; a refusal has `error` (a text for the user) and `code`. What clients
/// report is charged as it stands: a tick that was lost on the way may come later with the next one.
class SessionBook {
public:
    struct Plan {
        std::int64_t remainingSeconds = 360000;
        std::size_t mostSessions = 1000; ///< that run at a time
        std::int64_t ttsRpmBudget = 600;
        std::int64_t ttsConcurrentBudget = 5;
        Duration keyLife = std::chrono::hours(1);
        /// Keys stay good after they were renewed or their session ended, for sockets that open with them just then.
        Duration keyOverlap = std::chrono::minutes(1);
    };

    /// `token` identifies the one caller that is served.
    SessionBook(std::string token, Plan plan);

    Json start(Json const& request, Instant now, Date date);
    /// `stop` once no time is left: the session is over, its keys soon after, and every later tick says so again.
    Json tick(Json const& request, Instant now, Date date);
    Json end(Json const& request, Instant now);
    Json balance(Json const& request) const;

    /// Whether the request comes from the one caller.
    bool authorized(Json const& request) const;
    /// The token itself, or a live key of a session.
    bool accepts(std::string_view key, Instant now);

private:
    struct Session {
        std::string sttKey;
        std::string ttsKey;
        Instant lastHeard{};
        bool stopped = false;
    };

    std::size_t running() const;
    /// Nothing for a session that is not known.
    std::map<std::string, Session>::iterator heardFrom(Json const& request, Instant now);
    void issueKeys(Session& session, Json& answer, Instant now, Date date);
    void retireKeys(Session const& session, Instant now);
    void charge(Json const& request);
    void addAccount(Json& answer) const;

    std::string m_token;
    Plan m_plan;
    std::int64_t m_remainingSeconds;
    std::map<std::string, Session> m_sessions; ///< by session id
    std::map<std::string, Instant, std::less<>> m_keys; ///< key to the time it ends
};

/// A new secret of 128 random bits, with a name in front: "stt-...".
std::string newSecret(std::string_view name);

} // namespace lingrelay::service
