#pragma once

#include <functional>
#include <thread>

namespace lingrelay {

/// Turns SIGINT, SIGTERM and SIGHUP (unless that is ignored) into the user's stop, and SIGWINCH into a call, on a
/// thread of its own. The second such stop ends the program at once with status 130. Made before any other thread,
/// which all inherit the mask; where that cannot be, `block` is called before.
class SignalWatch {
public:
    SignalWatch(std::function<void()> onStop, std::function<void()> onResize);
    ~SignalWatch();
    /// Keeps the signals from this thread and those that it starts.
    static void block();

private:
    void run();

    std::function<void()> m_onStop;
    std::function<void()> m_onResize;
    int m_signals;
    int m_wake;
    std::thread m_thread;
};

} // namespace lingrelay
