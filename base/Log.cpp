#include "base/Log.h"

#include <mutex>

namespace lingrelay {

namespace {

struct State {
    std::mutex mutex;
    Log::Sink sink;
};

State& state()
{
    static State state;
    return state;
}

} // namespace

void Log::setSink(Sink sink)
{
    std::lock_guard const lock(state().mutex);
    state().sink = std::move(sink);
}

void Log::write(std::string_view line)
{
    std::lock_guard const lock(state().mutex);
    if (state().sink)
        state().sink(line);
}

} // namespace lingrelay
