#pragma once

#include "base/Time.h"
#include "model/AppModel.h"

#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// When each clause passed each hop, for a file of JSON lines: one object a clause, its stamps in seconds since
/// `start`. Any thread.
class ClauseLog {
public:
    ClauseLog(AppModel::Direction direction, Instant start) : m_direction(direction), m_start(start) { }

    /// The texts of the clause that is delivered next.
    void text(std::string const& source, std::string const& translation);
    /// The first stamp of a hop counts.
    void stamp(int seq, std::string_view hop, Instant when);

    std::string jsonLines() const;

private:
    struct Clause {
        std::string source;
        std::string translation;
        std::vector<std::pair<std::string, double>> stamps; ///< in order of arrival
    };

    AppModel::Direction m_direction;
    Instant m_start;
    mutable std::mutex m_mutex;
    std::map<int, Clause> m_clauses;
    std::optional<std::pair<std::string, std::string>> m_text;
};

} // namespace lingrelay
