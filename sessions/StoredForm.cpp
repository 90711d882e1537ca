#include "sessions/StoredForm.h"

#include "base/Text.h"
#include "base/Uuid.h"

#include <algorithm>
#include <cctype>

namespace lingrelay {

namespace {

bool take(Json& object, char const* key, std::string& text)
{
    auto const found = object.find(key);
    if (found == object.end() || !found->is_string())
        return false;
    text = withoutControls(found->get_ref<std::string&>(), Breaks::kept); // versions before this one kept them
    return true;
}

bool takeDate(Json& object, char const* key, Date& date)
{
    std::string text;
    if (!take(object, key, text) || text.find('.') != std::string::npos) // whole seconds only
        return false;
    auto const parsed = parseIso8601(text);
    date = parsed.value_or(Date());
    return parsed.has_value();
}

bool takeDirection(Json& object, char const* key, AppModel::Direction& direction)
{
    std::string text;
    if (!take(object, key, text))
        return false;
    direction = text == "speak" ? AppModel::Direction::speak : AppModel::Direction::listen;
    return text == rawValue(direction);
}

/// Takes either case, gives upper case. Becomes part of a path, so nothing else passes.
bool takeUuid(Json& object, char const* key, std::string& id)
{
    if (!take(object, key, id) || !isUuid(id))
        return false;
    std::transform(id.begin(), id.end(), id.begin(), [](unsigned char c) { return std::toupper(c); });
    return true;
}

} // namespace

nlohmann::ordered_json StoredForm::fields(SessionStore::Session const& session)
{
    return {{"id", session.id}, {"startedAt", iso8601(session.startedAt)}, {"endedAt", iso8601(session.endedAt)},
        {"mode", session.mode}, {"sourceLang", session.sourceLang}, {"targetLang", session.targetLang},
        {"profileName", session.profileName}};
}

nlohmann::ordered_json StoredForm::line(AppModel::Line const& line)
{
    return {{"id", line.id}, {"at", iso8601(line.at)}, {"direction", rawValue(line.direction)}, {"source", line.source},
        {"translation", line.translation}, {"speaker", line.speaker}};
}

std::optional<SessionStore::Session> StoredForm::session(Json& value)
{
    auto session = sessionWithoutLines(value);
    auto const lines = value.find("lines");
    if (!session || lines == value.end() || !lines->is_array())
        return {};
    std::vector<AppModel::Line> taken;
    taken.reserve(lines->size());
    for (auto& entry : *lines) {
        auto one = line(entry);
        if (!one)
            return {};
        taken.push_back(std::move(*one));
    }
    session->lines = std::move(taken);
    return session;
}

std::optional<SessionStore::Session> StoredForm::sessionWithoutLines(Json& value)
{
    SessionStore::Session session;
    bool const good = takeUuid(value, "id", session.id) && takeDate(value, "startedAt", session.startedAt)
        && takeDate(value, "endedAt", session.endedAt) && take(value, "mode", session.mode)
        && take(value, "sourceLang", session.sourceLang) && take(value, "targetLang", session.targetLang)
        && take(value, "profileName", session.profileName);
    return good ? std::optional(std::move(session)) : std::nullopt;
}

std::optional<AppModel::Line> StoredForm::line(Json& value)
{
    AppModel::Line line;
    bool const good = takeUuid(value, "id", line.id) && takeDate(value, "at", line.at)
        && takeDirection(value, "direction", line.direction) && take(value, "source", line.source)
        && take(value, "translation", line.translation) && take(value, "speaker", line.speaker);
    return good ? std::optional(std::move(line)) : std::nullopt;
}

} // namespace lingrelay
