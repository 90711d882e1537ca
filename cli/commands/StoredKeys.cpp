#include "cli/commands/StoredKeys.h"

#include "base/Text.h"
#include "base/Url.h"
#include "config/AppSettings.h"
#include "config/KeyStore.h"
#include "config/Languages.h"
#include "model/ContextProfile.h"
#include "platform/Defaults.h"

#include <charconv>
#include <cmath>
#include <optional>

#include <fmt/format.h>

namespace lingrelay {

namespace {

template <class T> std::optional<T> number(std::string_view text)
{
    T value{};
    auto const [stop, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || error != std::errc() || stop != text.data() + text.size())
        return {};
    return value;
}

Result<Json> typed(std::string_view text, std::string const*)
{
    if (!isUtf8(text))
        return Error{Error::Kind::other, "text in UTF-8"};
    return Json(std::string(text));
}

Result<Json> typed(std::string_view text, bool const*)
{
    if (text == "true" || text == "1")
        return Json(true);
    if (text == "false" || text == "0")
        return Json(false);
    return Error{Error::Kind::other, "true or false"};
}

Result<Json> typed(std::string_view text, std::int64_t const*)
{
    if (auto const value = number<std::int64_t>(text))
        return Json(*value);
    return Error{Error::Kind::other, "a whole number"};
}

Result<Json> typed(std::string_view text, double const*)
{
    if (auto const value = number<double>(text); value && std::isfinite(*value))
        return Json(*value);
    return Error{Error::Kind::other, "a number"};
}

Result<Json> typed(std::string_view text, AppSettings::Mode const*)
{
    if (AppSettings::modeFromRawValue(text))
        return Json(std::string(text));
    return Error{Error::Kind::other, "listen, speak or both"};
}

Result<Json> typed(std::string_view text, std::map<std::string, std::string> const*)
{
    auto value = parseJson(text);
    auto const isText = [](Json const& entry) { return entry.is_string(); };
    if (value && value->is_object() && std::all_of(value->begin(), value->end(), isText))
        return std::move(*value);
    return Error{Error::Kind::other, "a JSON object of texts"};
}

Result<Json> profiles(std::string_view text)
{
    if (ContextProfile::listFromText(text))
        return Json(std::string(text));
    return Error{Error::Kind::other, "the text of a JSON array of context profiles"};
}

template <bool webSocket> Result<Json> address(std::string_view text)
{
    if (text.empty() || urlProblem(text, webSocket).empty())
        return Json(std::string(text));
    return Error{Error::Kind::other, webSocket ? "a wss:// address" : "an https:// address"};
}

Result<Json> plainText(std::string_view text) { return typed(text, static_cast<std::string const*>(nullptr)); }
Result<Json> wholeNumber(std::string_view text) { return typed(text, static_cast<std::int64_t const*>(nullptr)); }

template <class T> std::string printed(T const& value)
{
    if constexpr (std::is_same_v<T, AppSettings::Mode>)
        return rawValue(value);
    else
        return jsonPrinted(Json(value));
}

constexpr std::string_view secretKey = "k.soniox";

/// The stored keys beside the settings record.
struct StoredKey {
    std::string_view name;
    Result<Json> (*read)(std::string_view);
};
constexpr StoredKey otherKeys[] = {
    {secretKey, plainText},
    {"context.profiles", profiles},
    {"context.active", plainText},
    {"pro.remainingSeconds", wholeNumber},
    {"overlayFrame", plainText},
    {"sidebarSection", plainText},
    {"host.stt", address<true>},
    {"host.tts", address<true>},
    {"host.api", address<false>},
    {"host.backend", address<false>},
    {"host.translate", address<false>},
};

bool isLanguage(std::string_view key)
{
    return key == "sourceLang" || key == "targetLang" || key == "myLang" || key == "theirLang";
}

std::optional<Result<Json>> read(std::string const& key, std::string_view text)
{
    std::optional<Result<Json>> result;
    AppSettings const record;
    AppSettings::forEachField([&](char const* name, auto member) {
        if (key == name)
            result = typed(text, &(record.*member));
    });
    for (auto const& other : otherKeys) {
        if (key == other.name)
            result = other.read(text);
    }
    return result;
}

} // namespace

Result<Json> storedValue(std::string const& key, std::string_view text)
{
    auto value = read(key, text);
    if (value && *value && isLanguage(key)) {
        if (auto code = Catalog::codeOf(text))
            *value = Json(*code);
    }
    if (!value)
        return Error{Error::Kind::other, fmt::format("there is no setting \"{}\"", key)};
    if (!*value)
        return Error{Error::Kind::other, fmt::format("{}: the value must be {}", key, value->error().message)};
    return std::move(*value);
}

std::vector<std::string> storedKeys()
{
    std::vector<std::string> keys;
    AppSettings::forEachField([&](char const* name, auto) { keys.emplace_back(name); });
    for (auto const& other : otherKeys)
        keys.emplace_back(other.name);
    return keys;
}

std::string storedText(std::string const& key)
{
    std::optional<std::string> text;
    auto const record = AppSettings::load();
    AppSettings::forEachField([&](char const* name, auto member) {
        if (key == name)
            text = printed(record.*member);
    });
    if (key == secretKey)
        return Secrets::byokActive() ? "•••" : "";
    return text ? *text : KeyStore::d().string(key).value_or("");
}

} // namespace lingrelay
