#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace lingrelay {

using Json = nlohmann::json;

/// Nothing when the text is not JSON, or is nested over 200 times.
std::optional<Json> parseJson(std::string_view text);

/// Compact text; bytes that are not UTF-8 come out as U+FFFD. Never throws.
std::string jsonText(Json const& value);

/// Readers for messages of other parties: a missing key and a value of the wrong type both count as absent.
/// `object` may be any JSON value.
Json const* jsonMember(Json const& object, char const* key);
std::optional<std::string> jsonString(Json const& object, char const* key);
std::optional<std::int64_t> jsonInteger(Json const& object, char const* key);
std::optional<double> jsonNumber(Json const& object, char const* key);
std::optional<bool> jsonBool(Json const& object, char const* key);

/// A scalar as people would print it: strings without quotes, anything else as JSON.
std::string jsonPrinted(Json const& value);

} // namespace lingrelay
