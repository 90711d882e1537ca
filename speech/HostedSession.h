#pragma once

#include "base/Json.h"
#include "base/Observable.h"
#include "base/async/Task.h"
#include "net/Net.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace lingrelay {

/// The client of the backend's session protocol: short-lived provider keys, metered time, a budget for synthesis.
///
/// Shared; used on main, but for the keys and budgets, which any thread may read. `shutdown` before main ends.
class HostedSession : public std::enable_shared_from_this<HostedSession> {
public:
    struct Failure {
        std::string message;
        std::string code; ///< the backend's word, "unknown" without one, or empty when the network failed
    };
    struct Budget {
        std::int64_t ttsRpm = 0; ///< synthesis sockets a minute; 0 means none known
        std::int64_t ttsConcurrent = 0; ///< synthesis streams at a time; 0 means none known

        bool operator==(Budget const&) const = default;
    };

    /// `clientToken` identifies the caller to the backend in every call; empty when there is none, or not yet.
    HostedSession(Scheduler& main, Net& net, std::string clientToken);
    static HostedSession& shared();
    std::string const& clientToken() const { return m_clientToken; }
    void setClientToken(std::string token) { m_clientToken = std::move(token); }

    /// Opens a session; nothing on success. One at a time: who shares a session asks a HostedLease. A session that is
    /// on already is replaced without a report: that is for a backend which no longer knows it.
    Task<std::optional<Failure>> start();
    /// Reports the last use without waiting for an answer. Does nothing when no session is on.
    void end();
    Task<void> refreshBalance();

    bool active() const { return m_active; }
    std::int64_t remainingSeconds() const { return m_remainingSeconds; }
    /// Seconds left in the session that is on; none without one.
    Observable<std::optional<std::int64_t>>& balance() { return m_balance; }
    /// The server stopped the session during a tick.
    std::function<void()> onExhausted;

    std::string sttKey() const;
    std::string ttsKey() const;
    Budget budget() const;

    /// Cancels the reports under way, that of an `end` included. No start may be under way.
    void shutdown();
    /// True when no report is under way.
    bool idle() const { return m_tasks.running() == 0; }

    /// "0 min", "59 min", "1 h", "1 h 1 min" in the interface language.
    static std::string format(std::int64_t seconds);

private:
    enum class Ending { no, yes };
    struct Session;
    using SessionPtr = std::shared_ptr<Session>;

    Task<Result<Json>> post(char const* path, Json body);
    std::optional<Failure> opened(Result<Json> const& response);
    Task<void> report(std::shared_ptr<HostedSession> self, SessionPtr session, Ending ending);
    void obey(Session& session, Json const& response);
    void scheduleTick();
    void setRemaining(Json const& response);
    void setKeys(Session& session, Json const& response);
    void readBudget(Json const& response);
    void tellBalance();

    Scheduler& m_main;
    Net& m_net;
    std::string m_clientToken;
    TaskGroup m_tasks;
    std::int64_t m_remainingSeconds = 0;
    bool m_active = false; ///< m_session is on, and has not been ended
    Observable<std::optional<std::int64_t>> m_balance;
    SessionPtr m_session; ///< the last that was opened
    Scheduler::TimerId m_timer = 0;

    mutable std::mutex m_keyLock; ///< held for a copy; guards all below
    std::string m_sttKey;
    std::string m_ttsKey;
    Budget m_budget;
};

} // namespace lingrelay
