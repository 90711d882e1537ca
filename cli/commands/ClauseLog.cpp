#include "cli/commands/ClauseLog.h"

#include <algorithm>

namespace lingrelay {

void ClauseLog::text(std::string const& source, std::string const& translation)
{
    std::lock_guard const lock(m_mutex);
    m_text.emplace(source, translation);
}

void ClauseLog::stamp(int seq, std::string_view hop, Instant when)
{
    std::lock_guard const lock(m_mutex);
    auto& clause = m_clauses[seq];
    if (hop == "delivered" && m_text) {
        std::tie(clause.source, clause.translation) = std::move(*m_text);
        m_text.reset();
    }
    auto const known = [&](auto const& each) { return each.first == hop; };
    if (std::none_of(clause.stamps.begin(), clause.stamps.end(), known))
        clause.stamps.emplace_back(hop, std::round(toSeconds(when - m_start) * 1e6) / 1e6);
}

std::string ClauseLog::jsonLines() const
{
    std::lock_guard const lock(m_mutex);
    std::string text;
    for (auto const& [seq, clause] : m_clauses) {
        nlohmann::ordered_json line{{"direction", rawValue(m_direction)}, {"seq", seq}, {"source", clause.source},
            {"translation", clause.translation}};
        auto& stamps = line["stamps"] = nlohmann::ordered_json::object();
        for (auto const& [hop, time] : clause.stamps)
            stamps[hop] = time;
        text += line.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + '\n';
    }
    return text;
}

} // namespace lingrelay
