#include "platform/Defaults.h"

#include <cstdlib>

namespace lingrelay {

namespace {

double parseNumber(std::string const& text) { return std::strtod(text.c_str(), nullptr); }

} // namespace

std::optional<std::string> Defaults::string(std::string const& key) const
{
    auto const stored = value(key);
    if (!stored || !(stored->is_string() || stored->is_number()))
        return {};
    return jsonPrinted(*stored);
}

bool Defaults::boolean(std::string const& key) const
{
    auto const stored = value(key);
    if (!stored)
        return false;
    if (stored->is_boolean())
        return stored->get<bool>();
    if (stored->is_number())
        return stored->get<double>() != 0;
    if (!stored->is_string())
        return false;
    auto const text = stored->get<std::string>();
    return text == "YES" || text == "yes" || text == "true" || parseNumber(text) != 0;
}

std::int64_t Defaults::integer(std::string const& key) const
{
    auto const stored = value(key);
    if (stored && stored->is_number_integer())
        return stored->get<std::int64_t>();
    auto const number = this->number(key);
    return number >= -9.2e18 && number <= 9.2e18 ? static_cast<std::int64_t>(number) : 0;
}

double Defaults::number(std::string const& key) const
{
    auto const stored = value(key);
    if (!stored)
        return 0;
    if (stored->is_number())
        return stored->get<double>();
    if (stored->is_boolean())
        return stored->get<bool>() ? 1 : 0;
    return stored->is_string() ? parseNumber(stored->get<std::string>()) : 0;
}

std::vector<std::string> Defaults::lost() const
{
    std::vector<std::string> keys;
    for (auto const& key : value(lostKey).value_or(Json::array())) {
        if (key.is_string())
            keys.push_back(key.get<std::string>());
    }
    return keys;
}

} // namespace lingrelay
