#include "bench/Impulses.h"

#include <csignal>
#include <string_view>
#include <thread>

#include <spawn.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace lingrelay::bench {

namespace {

constexpr char const* programOption = "--program";
constexpr double graphRate = 48000;
constexpr float loud = 0.9F;
constexpr Duration longest = seconds(1.0); ///< a sound that was not heard by then is lost
constexpr int warmUps = 10;
constexpr Duration pause = seconds(0.15); ///< between sounds, at the least
/// Multiples of it lie evenly in a circle: with few sounds all places in a step of the server have their turn.
constexpr double golden = 0.6180339887;

bool heardBy(std::span<Way const> ways)
{
    return std::all_of(ways.begin(), ways.end(), [](Way const& way) { return way.ear.heard.when().has_value(); });
}

/// One sound for all of these ways.
void tryOnce(std::span<Way const> ways)
{
    for (auto const& way : ways)
        way.ear.heard.clear();
    Moment made;
    ways.front().sounder.sound(made);
    for (auto const end = Clock::now() + longest; Clock::now() < end && !heardBy(ways);)
        std::this_thread::sleep_for(seconds(0.001));
    for (auto const& way : ways) {
        auto const from = made.when();
        auto const to = way.ear.heard.when();
        if (from && to)
            way.delays.add(*to - *from);
        else
            way.delays.addLost();
    }
}

} // namespace

struct ForeignProgram::Shared {
    std::atomic<bool> wanted = false;
    Moment made;
};

ForeignProgram::ForeignProgram(std::string const& target)
    : m_memory(::memfd_create("impulses", 0)) // the program inherits it
{
    if (::ftruncate(m_memory, sizeof(Shared)) != 0)
        std::terminate();
    void* const memory = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, m_memory, 0);
    m_shared = new (memory) Shared;
    std::string words[] = {"/proc/self/exe", programOption, target, std::to_string(m_memory)};
    char* arguments[] = {words[0].data(), words[1].data(), words[2].data(), words[3].data(), nullptr};
    ::posix_spawn(&m_process, arguments[0], nullptr, nullptr, arguments, environ);
}

ForeignProgram::~ForeignProgram()
{
    ::kill(m_process, SIGTERM);
    ::waitpid(m_process, nullptr, 0);
    ::munmap(m_shared, sizeof(Shared));
    ::close(m_memory);
}

void ForeignProgram::sound(Moment& made)
{
    m_shared->made.clear();
    m_shared->wanted = true;
    for (auto const end = Clock::now() + longest; Clock::now() < end && !m_shared->made.when();)
        std::this_thread::sleep_for(seconds(0.001));
    if (auto const when = m_shared->made.when())
        made.note(Clock::now() - *when);
}

std::optional<int> ForeignProgram::run(std::span<char*> arguments)
{
    if (arguments.size() != 4 || arguments[1] != std::string_view(programOption))
        return {};
    ::prctl(PR_SET_PDEATHSIG, SIGTERM);
    void* const memory
        = ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, std::atoi(arguments[3]), 0);
    auto& shared = *static_cast<Shared*>(memory);
    BareStream const stream({.name = nodeName, .target = arguments[2], .channels = 2}, [&](std::span<float> samples) {
        bool const sounds = shared.wanted.exchange(false);
        std::fill(samples.begin(), samples.end(), sounds ? loud : 0);
        if (sounds)
            shared.made.note();
    });
    for (;;)
        ::pause();
}

double Delays::quantile(double share) const
{
    auto sorted = m_milliseconds;
    std::sort(sorted.begin(), sorted.end());
    return sorted.at(static_cast<std::size_t>(share * static_cast<double>(sorted.size() - 1)));
}

bool measure(Way const& floor, Way const& measured, BareStream const& stream, int count)
{
    Delays first[2];
    Way const warmingUp[] = {{floor.sounder, floor.ear, first[0]}, {measured.sounder, measured.ear, first[1]}};
    Way const together[] = {floor, measured};
    auto next = Clock::now();
    auto step = seconds(0.02);
    auto const round = [&](std::span<Way const> ways) {
        std::size_t const size = &floor.sounder == &measured.sounder ? 2 : 1;
        for (std::size_t i = 0; i < ways.size(); i += size) {
            while (next < Clock::now() + pause)
                next += step;
            std::this_thread::sleep_until(next);
            tryOnce(ways.subspan(i, size));
        }
        next += seconds(golden * toSeconds(step));
    };
    for (int i = 0; i < warmUps && (first[0].empty() || first[1].empty()); ++i)
        round(warmingUp);
    if (first[0].empty() || first[1].empty())
        return false;
    step = seconds(stream.quantum() / graphRate);
    for (int i = 0; i < count; ++i)
        round(together);
    return true;
}

} // namespace lingrelay::bench
