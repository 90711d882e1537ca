#include "bench/SampleArchive.h"

#include "sessions/TranscriptForms.h"

#include <chrono>
#include <fstream>

#include <fmt/format.h>

namespace lingrelay::bench {

namespace {

/// Sentences of everyday length; half of them have letters that are not ASCII.
std::string sentence(int number, bool vietnamese)
{
    constexpr char const* english[] = {"we", "should", "meet", "again", "after", "The", "budget", "review", "and",
        "before", "Friday", "with", "everyone", "who", "works", "on", "translation"};
    constexpr char const* vietnameseWords[] = {"chúng", "ta", "nên", "gặp", "lại", "sau", "cuộc", "họp", "Ngân", "sách",
        "và", "trước", "thứ", "sáu", "với", "mọi", "người"};
    auto state = static_cast<unsigned>(number) * 2654435761U + 1;
    std::string text;
    for (int word = 0; word < 12; ++word) {
        state = state * 1664525U + 1013904223U;
        text += (word ? " " : "") + std::string((vietnamese ? vietnameseWords : english)[(state >> 16) % 17]);
    }
    return text + '.';
}

} // namespace

SessionStore::Session sampleSession(int number, int lines)
{
    Date const start = std::chrono::sys_days(std::chrono::year(2026) / 1 / 1) + std::chrono::minutes(number * 90);
    std::vector<AppModel::Line> list;
    for (int i = 0; i < lines; ++i) {
        auto const seed = number * lines + i;
        list.push_back({fmt::format("00000000-0000-4000-8000-{:012X}", seed), start + std::chrono::seconds(i * 5),
            i % 3 ? AppModel::Direction::listen : AppModel::Direction::speak, sentence(seed, false),
            sentence(seed, true), "1"});
    }
    return {fmt::format("00000000-0000-4000-8000-{:012X}", number), start, start + std::chrono::minutes(30), "both",
        "en", "vi", "", std::move(list)};
}

void fillArchive(std::filesystem::path const& folder, int count, int lines)
{
    std::filesystem::create_directories(folder);
    for (int i = 0; i < count; ++i) {
        auto const one = sampleSession(i, lines);
        std::ofstream(folder / (one.id + ".json")) << TranscriptForms::json(one);
    }
}

} // namespace lingrelay::bench
