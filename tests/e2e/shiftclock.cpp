// Preloaded into a program: its wall clock jumps by CLOCK_JUMP seconds CLOCK_AFTER seconds after its start.

#include <cstdlib>

#include <dlfcn.h>
#include <sys/time.h>
#include <time.h>

namespace {

using Call = int (*)(clockid_t, timespec*);

Call const real = reinterpret_cast<Call>(::dlsym(RTLD_NEXT, "clock_gettime"));

double number(char const* name)
{
    auto const* const text = std::getenv(name);
    return text ? std::atof(text) : 0;
}

double steady()
{
    timespec now{};
    real(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

} // namespace

extern "C" int clock_gettime(clockid_t clock, timespec* time)
{
    static double const jump = number("CLOCK_JUMP");
    static double const when = steady() + number("CLOCK_AFTER");
    int const result = real(clock, time);
    if (clock == CLOCK_REALTIME && steady() >= when)
        time->tv_sec += static_cast<time_t>(jump);
    return result;
}

extern "C" time_t time(time_t* out)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out)
        *out = now.tv_sec;
    return now.tv_sec;
}
