#include "base/Json.h"

namespace lingrelay {

namespace {

/// No message and no file of ours is nested deeper. Copying and printing a value takes stack for every level.
constexpr int mostLevels = 200;

bool tooDeep(std::string_view text)
{
    int levels = 0;
    bool quoted = false;
    for (std::size_t at = 0; at < text.size() && levels <= mostLevels; ++at) {
        char const letter = text[at];
        if (letter == '"')
            quoted = !quoted;
        else if (quoted)
            at += letter == '\\' ? 1 : 0;
        else
            levels += letter == '[' || letter == '{' ? 1 : letter == ']' || letter == '}' ? -1 : 0;
    }
    return levels > mostLevels;
}

} // namespace

std::optional<Json> parseJson(std::string_view text)
{
    if (tooDeep(text))
        return {};
    auto value = Json::parse(text, nullptr, /*allow_exceptions=*/false);
    if (value.is_discarded())
        return {};
    return value;
}

std::string jsonText(Json const& value) { return value.dump(-1, ' ', false, Json::error_handler_t::replace); }

Json const* jsonMember(Json const& object, char const* key)
{
    if (!object.is_object())
        return nullptr;
    auto const found = object.find(key);
    return found == object.end() ? nullptr : &*found;
}

std::optional<std::string> jsonString(Json const& object, char const* key)
{
    auto const* member = jsonMember(object, key);
    if (!member || !member->is_string())
        return {};
    return member->get_ref<std::string const&>();
}

std::optional<std::int64_t> jsonInteger(Json const& object, char const* key)
{
    auto const* member = jsonMember(object, key);
    if (!member || !member->is_number_integer())
        return {};
    return member->get<std::int64_t>();
}

std::optional<double> jsonNumber(Json const& object, char const* key)
{
    auto const* member = jsonMember(object, key);
    if (!member || !member->is_number())
        return {};
    return member->get<double>();
}

std::optional<bool> jsonBool(Json const& object, char const* key)
{
    auto const* member = jsonMember(object, key);
    if (!member || !member->is_boolean())
        return {};
    return member->get<bool>();
}

std::string jsonPrinted(Json const& value) { return value.is_string() ? value.get<std::string>() : jsonText(value); }

} // namespace lingrelay
