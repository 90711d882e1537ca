#pragma once

#include <ctime>

namespace lingrelay::bench {

/// Seconds that this thread has used of a processor: what other programs do does not count.
inline double threadSeconds()
{
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

} // namespace lingrelay::bench
