#include "service/SessionBook.h"

#include "base/Uuid.h"

namespace lingrelay {

namespace {

constexpr std::size_t sessionLimit = 1000; ///< of sessions that were started and never ended

Json refusal(char const* code, char const* text) { return {{"error", text}, {"code", code}}; }

Json unauthorized() { return refusal("unauthorized", "The local service does not know this caller."); }

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
    if (m_sessions.size() >= sessionLimit)
        return refusal("at_capacity", "Too many sessions are open. End some, or start the local service anew.");
    auto const id = newUuid();
    auto& session = m_sessions[id];
    Json answer = {{"session_id", id}};
    issueKeys(session, answer, now, date);
    addBudget(answer);
    return answer;
}

Json SessionBook::tick(Json const& request, Instant now, Date date)
{
    if (!authorized(request))
        return unauthorized();
    auto const found = sessionOf(request);
    if (found == m_sessions.end())
        return refusal("unknown_session", "This session is not running.");
    charge(request);
    Json answer = Json::object();
    if (jsonBool(request, "renew").value_or(false)) {
        retireKeys(found->second, now);
        issueKeys(found->second, answer, now, date);
    }
    addBudget(answer);
    return answer;
}

Json SessionBook::end(Json const& request, Instant now)
{
    if (!authorized(request))
        return unauthorized();
    auto const found = sessionOf(request);
    if (found == m_sessions.end())
        return refusal("unknown_session", "This session is not running.");
    charge(request);
    retireKeys(found->second, now);
    m_sessions.erase(found);
    Json answer = Json::object();
    addBudget(answer);
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

std::map<std::string, SessionBook::Session>::iterator SessionBook::sessionOf(Json const& request)
{
    return m_sessions.find(jsonString(request, "session_id").value_or(""));
}

void SessionBook::issueKeys(Session& session, Json& answer, Instant now, Date date)
{
    session = {newSecret("stt"), newSecret("tts")};
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

void SessionBook::addBudget(Json& answer) const
{
    answer["remaining_seconds"] = m_remainingSeconds;
    answer["tts_rpm_budget"] = m_plan.ttsRpmBudget;
    answer["tts_concurrent_budget"] = m_plan.ttsConcurrentBudget;
    answer["active_sessions"] = m_sessions.size();
}

} // namespace lingrelay
