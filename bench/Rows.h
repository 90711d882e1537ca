#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

#include <fmt/format.h>

namespace lingrelay::bench {

/// What a limit holds for.
enum class Judge { ratio, difference, ours };

/// One figure beside another of the same run, for the table that bench/run closes with: a JSON line in the file that
/// LINGRELAY_BENCH_ROWS names, or nothing. `most` is the highest good value; 0: none is set.
inline void addRow(std::string_view figure, std::string_view unit, double ours, std::string_view beside, double other,
    Judge judge, double most)
{
    auto const* const path = std::getenv("LINGRELAY_BENCH_ROWS");
    auto* const file = path ? std::fopen(path, "a") : nullptr;
    if (!file)
        return;
    constexpr std::string_view names[] = {"ratio", "difference", "ours"};
    fmt::print(file,
        R"({{"figure":"{}","unit":"{}","ours":{},"beside":"{}","other":{},"judge":"{}","most":{}}})"
        "\n",
        figure, unit, ours, beside, other, names[static_cast<int>(judge)], most);
    std::fclose(file);
}

} // namespace lingrelay::bench
