#include "cli/Secrecy.h"

#include <string_view>

namespace lingrelay {

namespace {

/// Shorter ones are no keys, and would take ordinary words out of the captions.
constexpr std::size_t shortestKey = 6;
constexpr std::string_view replacement = "•••";

void remove(std::string& text, std::string const& secret)
{
    if (secret.size() < shortestKey)
        return;
    for (auto place = text.find(secret); place != std::string::npos;
         place = text.find(secret, place + replacement.size()))
        text.replace(place, secret.size(), replacement);
}

} // namespace

void Secrecy::add(std::string secret)
{
    std::lock_guard const lock(m_mutex);
    m_secrets.push_back(std::move(secret));
}

std::string Secrecy::clean(std::string text) const
{
    std::lock_guard const lock(m_mutex);
    for (auto const& secret : m_secrets)
        remove(text, secret);
    return text;
}

} // namespace lingrelay
