#include "service/wire/SessionBook.h"

#include "base/Uuid.h"

namespace lingrelay::service {

namespace {

constexpr auto longestSilence = std::chrono::hours(1); ///< of a session whose client may have died

Json refusal(char const* code, char const* text) { return {{"error", text}, {"code", code}}; }

Json unauthorized() { return refusal("unauthorized", "The local service does not know this caller."); }

Json unknownSession() { return refusal("unknown_session", "This session is not running."); }

} // namespace

std::string newSecret(std::string_view name)
{
    auto text = newUuid() + newUuid();
    std::erase(text, '-');
    for (char& letter : text)
        letter = static_cast<char>(letter >= 'A' && letter <= 'F' ? letter + 32 : letter);
    return fmt::format("{}-{}", name, text);
}

SessionBook::SessionBook(std::string token, Plan plan)
    : m_token(std::move(token))
    , m_plan(plan)
    , m_remainingSeconds(plan.remainingSeconds)
{
}

Json SessionBook::start(Json const& request, Instant now, Date date)
{
    if (!authorized(request))
        return unauthorized();
    std::erase_if(m_sessions, [now](auto const& entry) { return now - entry.second.lastHeard > longestSilence; });
    if (m_remainingSeconds == 0)
        return refusal("exhausted", "No service time is left. Start the local service anew.");
    if (running() >= m_plan.mostSessions)
        return refusal("at_capacity", "As many sessions run as the local service takes. End one first.");
    auto const id = newUuid();
    auto& session = m_sessions[id];
    session.lastHeard = now;
    Json answer = {{"session_id", id}};
    issueKeys(session, answer, now, date);
    addAccount(answer);
    return answer;
}

Json SessionBook::tick(Json const& request, Instant now, Date date)
{
    if (!authorized(request))
        return unauthorized();
    auto const found = heardFrom(request, now);
    if (found == m_sessions.end())
        return unknownSession();
    auto& session = found->second;
    charge(request);
    Json answer = Json::object();
    if (m_remainingSeconds == 0 && !session.stopped) {
        session.stopped = true;
        retireKeys(session, now);
    }
    if (session.stopped) {
        answer["stop"] = true;
    } else if (jsonBool(request, "renew").value_or(false)) {
        retireKeys(session, now);
        issueKeys(session, answer, now, date);
    }
    addAccount(answer);
    return answer;
}

Json SessionBook::end(Json const& request, Instant now)
{
    if (!authorized(request))
        return unauthorized();
    auto const found = heardFrom(request, now);
    if (found == m_sessions.end())
        return unknownSession();
    charge(request);
    retireKeys(found->second, now);
    m_sessions.erase(found);
    Json answer = Json::object();
    addAccount(answer);
    return answer;
}

Json SessionBook::balance(Json const& request) const
{
    if (!authorized(request))
        return unauthorized();
    return {{"remaining_seconds", m_remainingSeconds}};
}

bool SessionBook::accepts(std::string_view key, Instant now)
{
    if (key == m_token)
        return true;
    std::erase_if(m_keys, [now](auto const& entry) { return entry.second <= now; });
    return m_keys.contains(key);
}

bool SessionBook::authorized(Json const& request) const { return jsonString(request, "client_token") == m_token; }

std::size_t SessionBook::running() const
{
    return static_cast<std::size_t>(
        std::count_if(m_sessions.begin(), m_sessions.end(), [](auto const& entry) { return !entry.second.stopped; }));
}

std::map<std::string, SessionBook::Session>::iterator SessionBook::heardFrom(Json const& request, Instant now)
{
    auto const found = m_sessions.find(jsonString(request, "session_id").value_or(""));
    if (found != m_sessions.end())
        found->second.lastHeard = now;
    return found;
}

void SessionBook::issueKeys(Session& session, Json& answer, Instant now, Date date)
{
    session.sttKey = newSecret("stt");
    session.ttsKey = newSecret("tts");
    m_keys[session.sttKey] = m_keys[session.ttsKey] = now + m_plan.keyLife;
    answer["stt_key"] = session.sttKey;
    answer["tts_key"] = session.ttsKey;
    answer["expires_at"] = iso8601(date + std::chrono::duration_cast<Date::duration>(m_plan.keyLife));
}

void SessionBook::retireKeys(Session const& session, Instant now)
{
    for (auto const& key : {session.sttKey, session.ttsKey}) {
        if (auto const found = m_keys.find(key); found != m_keys.end())
            found->second = std::min(found->second, now + m_plan.keyOverlap);
    }
}

void SessionBook::charge(Json const& request)
{
    auto const used = std::clamp<std::int64_t>(jsonInteger(request, "seconds").value_or(0), 0, m_remainingSeconds);
    m_remainingSeconds -= used;
}

void SessionBook::addAccount(Json& answer) const
{
    answer["remaining_seconds"] = m_remainingSeconds;
    answer["tts_rpm_budget"] = m_plan.ttsRpmBudget;
    answer["tts_concurrent_budget"] = m_plan.ttsConcurrentBudget;
    answer["active_sessions"] = running();
}

} // namespace lingrelay::service
