#include "speech/HostedSession.h"

#include "base/Log.h"
#include "base/Registry.h"
#include "base/Text.h"
#include "base/async/Lifetime.h"
#include "config/Hosts.h"
#include "config/KeyStore.h"
#include "config/L10n.h"
#include "platform/Defaults.h"

namespace lingrelay {

namespace {

constexpr Duration tickInterval = seconds(60.0);
constexpr auto assumedKeyLife = std::chrono::hours(1);
constexpr auto renewAhead = std::chrono::seconds(600);
constexpr auto remainingKey = "pro.remainingSeconds";

} // namespace

/// One session of the backend, and the seconds that were used of it.
struct HostedSession::Session {
    std::string id;
    Date expiresAt;
    Instant counted; ///< up to here the use is in `used`
    std::int64_t used = 0; ///< seconds that the backend has not accepted yet
    bool reporting = false;
    Event reported;

    void count(Instant now)
    {
        auto const whole = std::chrono::duration_cast<std::chrono::seconds>(now - counted);
        used += whole.count();
        counted += whole;
    }
};

HostedSession::HostedSession(Scheduler& main, Net& net, std::string clientToken)
    : m_main(main)
    , m_net(net)
    , m_clientToken(std::move(clientToken))
    , m_tasks(main)
    , m_remainingSeconds(KeyStore::d().integer(remainingKey))
{
}

HostedSession& HostedSession::shared() { return Registry::get<HostedSession>(); }

Task<Result<Json>> HostedSession::post(char const* path, Json body)
{
    if (!m_clientToken.empty())
        body["client_token"] = m_clientToken;
    co_return co_await m_net.postJson(Hosts::shared().backend + path, std::move(body), 1);
}

Task<std::optional<HostedSession::Failure>> HostedSession::start()
{
    auto const self = shared_from_this();
    co_return opened(co_await post("/v1/pro/session/start", Json::object()));
}

std::optional<HostedSession::Failure> HostedSession::opened(Result<Json> const& response)
{
    if (!response)
        return Failure{response.error().message, ""};
    auto const id = jsonString(*response, "session_id");
    if (!id || !jsonString(*response, "stt_key") || !jsonString(*response, "tts_key")) {
        auto const error = jsonString(*response, "error");
        return Failure{
            error ? withoutControls(*error, Breaks::blanks) : T("Could not start a session.", "Không mở được phiên."),
            jsonString(*response, "code").value_or("unknown")};
    }
    auto const session = std::make_shared<Session>();
    session->id = *id;
    session->counted = m_main.now();
    m_session = session;
    setKeys(*session, *response);
    readBudget(*response);
    setRemaining(*response);
    m_active = true;
    Log::write("[hosted] session {} · {}s left", session->id.substr(0, 8), m_remainingSeconds);
    m_main.stopTimer(m_timer);
    scheduleTick();
    tellBalance();
    return std::nullopt;
}

void HostedSession::tellBalance()
{
    auto const left = m_active ? std::optional(m_remainingSeconds) : std::nullopt;
    if (left != *m_balance)
        m_balance = left;
}

void HostedSession::scheduleTick()
{
    m_timer = m_main.startTimer(m_main.now() + tickInterval, whileAlive(weak_from_this(), [](HostedSession& self) {
        self.scheduleTick();
        self.m_session->count(self.m_main.now());
        self.m_tasks.spawn(self.report(self.shared_from_this(), self.m_session, Ending::no));
    }));
}

/// Reports of one session come one after the other: what one could not report, the next one does, and none comes after
/// the end.
Task<void> HostedSession::report(std::shared_ptr<HostedSession> self, SessionPtr session, Ending ending)
{
    while (session->reporting)
        co_await session->reported.wait();
    session->reporting = true;
    session->reported.reset();
    bool const isEnding = ending == Ending::yes;
    auto const used = session->used;
    bool const renew = !isEnding && session->expiresAt - m_main.date() < renewAhead;
    Json body{{"session_id", session->id}, {"seconds", used}};
    if (renew)
        body["renew"] = true;
    auto const* path = isEnding ? "/v1/pro/session/end" : "/v1/pro/session/tick";
    auto const response = co_await post(path, std::move(body));
    session->reporting = false;
    session->reported.set();
    if (!response)
        co_return;
    session->used -= used;
    if (session != self->m_session)
        co_return; // another session has begun since
    setRemaining(*response);
    readBudget(*response);
    Log::write("[hosted] {} {}s → {}s left{}", isEnding ? "end" : "tick", used, m_remainingSeconds,
        renew ? " (keys renewed)" : "");
    if (!isEnding && m_active) // it may have been ended while the report was under way
        obey(*session, *response);
}

/// What the backend asks for in a tick.
void HostedSession::obey(Session& session, Json const& response)
{
    if (jsonString(response, "stt_key") && jsonString(response, "tts_key"))
        setKeys(session, response);
    if (!jsonBool(response, "stop").value_or(false))
        return;
    m_active = false;
    m_main.stopTimer(std::exchange(m_timer, 0));
    tellBalance();
    if (onExhausted)
        onExhausted();
}

void HostedSession::end()
{
    if (!std::exchange(m_active, false))
        return;
    m_main.stopTimer(std::exchange(m_timer, 0));
    tellBalance();
    m_session->count(m_main.now());
    m_tasks.spawn(report(shared_from_this(), m_session, Ending::yes));
}

Task<void> HostedSession::refreshBalance()
{
    if (m_clientToken.empty())
        co_return;
    if (auto const response = co_await post("/v1/pro/balance", Json::object()))
        setRemaining(*response);
}

void HostedSession::setRemaining(Json const& response)
{
    auto const remaining = jsonInteger(response, "remaining_seconds");
    if (!remaining)
        return;
    m_remainingSeconds = *remaining;
    KeyStore::d().set(remainingKey, m_remainingSeconds);
    tellBalance();
}

void HostedSession::setKeys(Session& session, Json const& response)
{
    auto const expires = jsonString(response, "expires_at");
    session.expiresAt = (expires ? parseIso8601(*expires) : std::nullopt).value_or(m_main.date() + assumedKeyLife);
    std::lock_guard const lock(m_keyLock);
    m_sttKey = *jsonString(response, "stt_key");
    m_ttsKey = *jsonString(response, "tts_key");
}

void HostedSession::readBudget(Json const& response)
{
    auto const rpm = jsonInteger(response, "tts_rpm_budget");
    auto const concurrent = jsonInteger(response, "tts_concurrent_budget");
    if (!rpm || !concurrent)
        return;
    Budget const budget{*rpm, *concurrent};
    if (budget != this->budget()) {
        Log::write("[hosted] tts budget {}/min · {} streams ({} sessions live)", budget.ttsRpm, budget.ttsConcurrent,
            jsonInteger(response, "active_sessions").value_or(0));
    }
    std::lock_guard const lock(m_keyLock);
    m_budget = budget;
}

std::string HostedSession::sttKey() const
{
    std::lock_guard const lock(m_keyLock);
    return m_sttKey;
}

std::string HostedSession::ttsKey() const
{
    std::lock_guard const lock(m_keyLock);
    return m_ttsKey;
}

HostedSession::Budget HostedSession::budget() const
{
    std::lock_guard const lock(m_keyLock);
    return m_budget;
}

void HostedSession::shutdown()
{
    m_active = false;
    m_main.stopTimer(std::exchange(m_timer, 0));
    m_tasks.cancel();
}

std::string HostedSession::format(std::int64_t seconds)
{
    auto const hours = seconds / 3600;
    auto const minutes = seconds % 3600 / 60;
    auto const hourText = fmt::format("{} {}", hours, T("h", "giờ"));
    auto const minuteText = fmt::format("{} {}", minutes, T("min", "phút"));
    if (hours < 1)
        return minuteText;
    return minutes == 0 ? hourText : hourText + " " + minuteText;
}

} // namespace lingrelay
