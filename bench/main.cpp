// Runs the benchmarks and closes with a table: each against a floor that was measured in the same run.

#include "bench/Rows.h"

#include <benchmark/benchmark.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <map>
#include <string>
#include <vector>

namespace {

struct Ratio {
    char const* what;
    char const* measured; ///< names of benchmarks
    char const* floor;
    double limit; ///< the highest good ratio; 0: none is set
};

constexpr std::array ratios{
    Ratio{"folding at minute 300 against minute 1", "foldMinute/300", "foldMinute/1", 1.2},
    Ratio{"folding against parsing alone", "foldMinute/1", "parseMinute", 0},
    Ratio{"queueing behind 10 min against 10 s", "enqueue/600", "enqueue/10", 1.5},
    Ratio{"queueing with a cut, 10 min against 10 s", "enqueueAndCut/600", "enqueueAndCut/10", 0},
    Ratio{"message to caption against a bare client", "messageToCaption", "messageToBareClient", 1.5},
    Ratio{"sound to the socket against a bare client", "soundToSocket", "soundFromBareClient", 1.5},
    Ratio{"final clause to first sound against a bare client", "clauseToFirstSound", "bareClientToLeadIn", 0},
    Ratio{"loading 10,000 sessions against parsing alone", "loadArchive/10000", "parseArchive/10000", 3},
    Ratio{"loading 10,000 sessions against 1000", "loadArchive/10000", "loadArchive/1000", 12},
    Ratio{"search without a hit against find()", "searchArchive/10000/0", "scanTexts/10000/0", 2},
    Ratio{"search with hits everywhere against find()", "searchArchive/10000/1", "scanTexts/10000/1", 2},
    Ratio{"search in 10,000 sessions against 1000", "searchArchive/10000/0", "searchArchive/1000/0", 12},
};

/// Prints the median of repeated runs and keeps the best time of each benchmark.
class Keeper final : public benchmark::ConsoleReporter {
public:
    void ReportRuns(std::vector<Run> const& runs) override
    {
        std::vector<Run> shown;
        std::copy_if(runs.begin(), runs.end(), std::back_inserter(shown),
            [](Run const& run) { return run.repetitions <= 1 || run.aggregate_name == "median"; });
        if (!shown.empty())
            ConsoleReporter::ReportRuns(shown);
        for (auto const& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred)
                continue;
            auto const seconds = run.real_accumulated_time / static_cast<double>(run.iterations);
            auto const name
                = std::string(run.run_name.function_name) + (run.run_name.args.empty() ? "" : "/") + run.run_name.args;
            auto const [place, isNew] = m_best.emplace(name, seconds);
            if (!isNew)
                place->second = std::min(place->second, seconds);
        }
    }

    void printRatios() const
    {
        fmt::print("\n{:<48} {:>12} {:>12} {:>7} {:>6}\n", "", "measured", "floor", "ratio", "limit");
        for (auto const& ratio : ratios) {
            auto const measured = m_best.find(ratio.measured);
            auto const floor = m_best.find(ratio.floor);
            if (measured == m_best.end() || floor == m_best.end())
                continue;
            auto const value = measured->second / floor->second;
            fmt::print("{:<48} {:>9.2f} us {:>9.2f} us {:>7.2f} {:>6} {}\n", ratio.what, measured->second * 1e6,
                floor->second * 1e6, value, ratio.limit > 0 ? fmt::format("{:.1f}", ratio.limit) : "-",
                ratio.limit > 0 && value > ratio.limit ? "OVER" : "");
            using lingrelay::bench::addRow;
            addRow(ratio.what, "us", measured->second * 1e6, "floor", floor->second * 1e6,
                lingrelay::bench::Judge::ratio, ratio.limit);
        }
    }

private:
    std::map<std::string, double> m_best;
};

} // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    Keeper keeper;
    benchmark::RunSpecifiedBenchmarks(&keeper);
    keeper.printRatios();
    benchmark::Shutdown();
    return 0;
}
