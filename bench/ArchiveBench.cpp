// The archive: its first load, its search and the writing of a session, against the least that each could cost.

#include "bench/CpuClock.h"
#include "bench/SampleArchive.h"
#include "sessions/PrivateFiles.h"
#include "sessions/SessionStore.h"

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <thread>

#include <malloc.h>

namespace lingrelay::bench {

namespace {

namespace fs = std::filesystem;

constexpr int linesPerSession = 100;

/// A folder of `count` sessions, made once and removed at the end of the program.
class Archive {
public:
    static Archive& of(int count)
    {
        static std::map<int, Archive> made;
        return made.try_emplace(count, count).first->second;
    }
    explicit Archive(int count)
    {
        auto pattern = (fs::temp_directory_path() / "lingrelay-archive-XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        fillArchive(folder, count, linesPerSession);
        std::this_thread::sleep_for(std::chrono::seconds(2)); // younger files are read at every load
    }
    ~Archive() { fs::remove_all(folder); }
    Archive(Archive const&) = delete;
    Archive& operator=(Archive const&) = delete;

    /// Loaded once: what is measured on it reads only.
    SessionStore& store()
    {
        if (!m_store)
            m_store.emplace(folder).load();
        return *m_store;
    }

    fs::path folder;

private:
    std::optional<SessionStore> m_store;
};

double heapMegabytes() { return static_cast<double>(::mallinfo2().uordblks) / 1e6; }

void loadArchive(benchmark::State& state)
{
    auto const& archive = Archive::of(static_cast<int>(state.range(0)));
    auto const before = heapMegabytes();
    for (auto _ : state) {
        SessionStore store(archive.folder);
        auto const started = threadSeconds();
        store.load();
        state.SetIterationTime(threadSeconds() - started);
        state.counters["MB"] = heapMegabytes() - before;
    }
}

/// The floor of loading: the same bytes read and parsed, and nothing else.
void parseArchive(benchmark::State& state)
{
    auto const& archive = Archive::of(static_cast<int>(state.range(0)));
    double megabytes = 0;
    for (auto _ : state) {
        megabytes = 0;
        auto const started = threadSeconds();
        std::string content;
        for (auto const& file : fs::directory_iterator(archive.folder)) {
            PrivateFiles::read(file.path(), content);
            megabytes += static_cast<double>(content.size()) / 1e6;
            benchmark::DoNotOptimize(nlohmann::json::parse(content));
        }
        state.SetIterationTime(threadSeconds() - started);
    }
    state.counters["fileMB"] = megabytes;
}

/// In no session, and in every one near its front.
constexpr char const* queries[] = {"the budget reviewed", "CUỘC HỌP"};
constexpr char const* sought[] = {"the budget reviewed", "cuộc họp"};

void searchArchive(benchmark::State& state)
{
    auto& store = Archive::of(static_cast<int>(state.range(0))).store();
    std::size_t found = 0;
    for (auto _ : state) {
        auto const started = threadSeconds();
        found = store.search(queries[state.range(1)]).size();
        state.SetIterationTime(threadSeconds() - started);
    }
    state.counters["found"] = static_cast<double>(found);
}

/// The floor of searching: find() in the texts as they are, up to a session's first hit.
void scanTexts(benchmark::State& state)
{
    auto const& sessions = Archive::of(static_cast<int>(state.range(0))).store().sessions().get();
    std::string const query = sought[state.range(1)];
    auto const holds = [&](AppModel::Line const& line) {
        return line.source.find(query) != std::string::npos || line.translation.find(query) != std::string::npos;
    };
    std::size_t found = 0;
    for (auto _ : state) {
        auto const started = threadSeconds();
        found = 0;
        for (auto const& one : sessions)
            found += std::any_of(one.lines.begin(), one.lines.end(), holds) ? 1 : 0;
        state.SetIterationTime(threadSeconds() - started);
    }
    state.counters["found"] = static_cast<double>(found);
}

/// A stop's write of a full transcript, into an archive that nobody has looked at (0) or that is loaded and must show
/// it (1); the disk's own time does not count.
void archiveSession(benchmark::State& state)
{
    auto& archive = Archive::of(10000);
    SessionStore unread(archive.folder);
    auto& store = state.range(0) == 0 ? unread : archive.store();
    auto const one = sampleSession(9999, 2000);
    for (auto _ : state) {
        auto const started = threadSeconds();
        benchmark::DoNotOptimize(store.archive(one));
        state.SetIterationTime(threadSeconds() - started);
    }
}

BENCHMARK(loadArchive)->Arg(1000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(parseArchive)->Arg(1000)->Arg(10000)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(searchArchive)
    ->ArgsProduct({{1000, 10000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(scanTexts)
    ->ArgsProduct({{1000, 10000}, {0, 1}})
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(5);
BENCHMARK(archiveSession)->Arg(0)->Arg(1)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(20);

} // namespace

} // namespace lingrelay::bench
