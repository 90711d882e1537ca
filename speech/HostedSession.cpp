#include "speech/HostedSession.h"

#include "base/Log.h"
#include "base/Registry.h"
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
    auto const response = co_await post("/v1/pro/session/start", Json::object());
    if (!response)
        co_return Failure{response.error().message, ""};
    if (!jsonString(*response, "session_id") || !jsonString(*response, "stt_key")
        || !jsonString(*response, "tts_key")) {
        co_return Failure{
            jsonString(*response, "error").value_or(T("Could not start a session.", "Không mở được phiên.")),
            jsonString(*response, "code").value_or("unknown")};
    }
    began(*response);
    co_return std::nullopt;
}

void HostedSession::began(Json const& response)
{
    m_sessionId = *jsonString(response, "session_id");
    setKeys(response);
    readBudget(response);
    setRemaining(response);
    m_lastReport = m_main.now();
    m_carried = 0;
    m_active = true;
    Log::write("[hosted] session {} · {}s left", m_sessionId.substr(0, 8), m_remainingSeconds);
    m_main.stopTimer(m_timer);
    scheduleTick();
    tellBalance();
}

void HostedSession::tellBalance()
{
    auto const left = m_active ? std::optional(m_remainingSeconds) : std::nullopt;
    if (left != *m_balance)
        m_balance = left;
}

void HostedSession::scheduleTick()
{
    m_timer = m_main.startTimer(m_main.now() + tickInterval, [weak = weak_from_this()] {
        auto const self = weak.lock();
        if (!self)
            return;
        self->scheduleTick();
        self->m_tasks.spawn(self->report(self, Ending::no));
    });
}

Task<void> HostedSession::report([[maybe_unused]] std::shared_ptr<HostedSession> self, Ending ending)
{
    bool const isEnding = ending == Ending::yes;
    // Counted use leaves the books here and comes back if the call fails, so that overlapping calls report it once.
    auto const sinceLast = std::chrono::duration_cast<std::chrono::seconds>(m_main.now() - m_lastReport);
    auto const used = std::exchange(m_carried, 0) + sinceLast.count();
    m_lastReport += sinceLast;
    auto const session = m_sessionId;
    bool const renew = !isEnding && m_expiresAt - m_main.date() < renewAhead;
    Json body{{"session_id", m_sessionId}, {"seconds", used}};
    if (renew)
        body["renew"] = true;
    auto const* path = isEnding ? "/v1/pro/session/end" : "/v1/pro/session/tick";
    auto const response = co_await post(path, std::move(body));
    if (session != m_sessionId)
        co_return; // another session has begun since
    if (!response) {
        m_carried += isEnding ? 0 : used;
        co_return;
    }
    setRemaining(*response);
    readBudget(*response);
    Log::write("[hosted] {} {}s → {}s left{}", isEnding ? "end" : "tick", used, m_remainingSeconds,
        renew ? " (keys renewed)" : "");
    if (jsonString(*response, "stt_key") && jsonString(*response, "tts_key"))
        setKeys(*response);
    if (!isEnding && jsonBool(*response, "stop").value_or(false)) {
        m_active = false;
        m_main.stopTimer(std::exchange(m_timer, 0));
        tellBalance();
        if (onExhausted)
            onExhausted();
    }
}

void HostedSession::end()
{
    if (!std::exchange(m_active, false))
        return;
    m_main.stopTimer(std::exchange(m_timer, 0));
    tellBalance();
    m_tasks.spawn(report(shared_from_this(), Ending::yes));
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

void HostedSession::setKeys(Json const& response)
{
    auto const expires = jsonString(response, "expires_at");
    m_expiresAt = (expires ? parseIso8601(*expires) : std::nullopt).value_or(m_main.date() + assumedKeyLife);
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
