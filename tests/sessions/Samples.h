#pragma once

#include "sessions/SessionStore.h"
#include "tests/support/TemporaryFolder.h"

#include <fmt/format.h>

namespace lingrelay {

constexpr Date noon = std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + std::chrono::hours(12);

inline std::string sampleId(int number) { return fmt::format("00000000-0000-4000-8000-{:012X}", number); }

inline AppModel::Line sampleLine(int number, std::string source, std::string translation)
{
    return {sampleId(number), noon + std::chrono::seconds(number), AppModel::Direction::listen, std::move(source),
        std::move(translation), "1"};
}

inline SessionStore::Session sampleSession(int number, SessionStore::Lines lines, std::string profile = "Board")
{
    return {sampleId(number), noon, noon + std::chrono::hours(1), "both", "auto", "vi", std::move(profile),
        std::move(lines)};
}

} // namespace lingrelay
