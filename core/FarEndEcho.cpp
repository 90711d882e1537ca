#include "core/FarEndEcho.h"

#include "base/Registry.h"
#include "base/Text.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr std::size_t minimumTokens = 3;
constexpr Duration memoryWindow = seconds(8.0);
constexpr double matchRatio = 0.6;

std::set<std::string> tokens(std::string_view text)
{
    std::set<std::string> result;
    for (auto& word : wordsOf(text)) {
        if (characterCount(word) > 1)
            result.insert(std::move(word));
    }
    return result;
}

} // namespace

FarEndEcho& FarEndEcho::shared() { return Registry::get<FarEndEcho>(); }

void FarEndEcho::note(std::string_view text)
{
    auto words = tokens(text);
    if (words.size() < minimumTokens)
        return;
    std::lock_guard const lock(m_mutex);
    m_recent.push_back({std::move(words), m_clock.now()});
    forgetOld();
}

bool FarEndEcho::looksLikeEcho(std::string_view text)
{
    auto const candidate = tokens(text);
    if (candidate.size() < minimumTokens)
        return false;
    std::lock_guard const lock(m_mutex);
    forgetOld();
    return std::any_of(m_recent.begin(), m_recent.end(), [&](Entry const& entry) {
        auto const overlap = std::count_if(
            candidate.begin(), candidate.end(), [&](auto const& word) { return entry.words.contains(word); });
        return static_cast<double>(overlap) / static_cast<double>(candidate.size()) >= matchRatio;
    });
}

void FarEndEcho::forgetOld()
{
    auto const now = m_clock.now();
    std::erase_if(m_recent, [&](Entry const& entry) { return now - entry.at > memoryWindow; });
}

} // namespace lingrelay
