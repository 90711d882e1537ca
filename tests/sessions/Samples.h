#pragma once

#include "sessions/SessionStore.h"

#include <fstream>
#include <sstream>

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

inline void writeText(std::filesystem::path const& path, std::string const& text)
{
    std::ofstream(path, std::ios::binary) << text;
}

inline std::string readText(std::filesystem::path const& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

} // namespace lingrelay
