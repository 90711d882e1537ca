#pragma once

#include "base/Json.h"
#include "sessions/SessionStore.h"

#include <optional>

namespace lingrelay {

/// The JSON form of sessions and of their lines, in the archive and in journals. Any thread.
class StoredForm {
public:
    /// All fields but the lines.
    static nlohmann::ordered_json fields(SessionStore::Session const& session);
    static nlohmann::ordered_json line(AppModel::Line const& line);

    /// These need every key, with a value of its type, and take the texts out of `value`.
    static std::optional<SessionStore::Session> session(Json& value);
    static std::optional<SessionStore::Session> sessionWithoutLines(Json& value);
    static std::optional<AppModel::Line> line(Json& value);
};

} // namespace lingrelay
