#include "program/SignalWatch.h"

#include <csignal>
#include <cstdint>

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr int endedBySignal = 130;

/// As nohup leaves it for a program that is to outlive its terminal.
bool hangUpIsIgnored()
{
    struct sigaction action { };
    return ::sigaction(SIGHUP, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t watchedSignals()
{
    sigset_t watched;
    ::sigemptyset(&watched);
    for (int const number : {SIGINT, SIGTERM, SIGHUP, SIGWINCH}) {
        if (number != SIGHUP || !hangUpIsIgnored())
            ::sigaddset(&watched, number);
    }
    return watched;
}

} // namespace

SignalWatch::SignalWatch(std::function<void()> onStop, std::function<void()> onResize)
    : m_onStop(std::move(onStop))
    , m_onResize(std::move(onResize))
{
    block();
    auto const watched = watchedSignals();
    m_signals = ::signalfd(-1, &watched, SFD_CLOEXEC | SFD_NONBLOCK);
    m_wake = ::eventfd(0, EFD_CLOEXEC);
    m_thread = std::thread([this] { run(); });
}

void SignalWatch::block()
{
    auto const watched = watchedSignals();
    ::pthread_sigmask(SIG_BLOCK, &watched, nullptr);
}

SignalWatch::~SignalWatch()
{
    ::eventfd_write(m_wake, 1);
    m_thread.join();
    ::close(m_signals);
    ::close(m_wake);
}

void SignalWatch::run()
{
    for (bool stopping = false;;) {
        pollfd waits[] = {{m_signals, POLLIN, 0}, {m_wake, POLLIN, 0}};
        ::poll(waits, 2, -1);
        if (waits[1].revents != 0)
            return;
        signalfd_siginfo info{};
        if (::read(m_signals, &info, sizeof info) != sizeof info)
            continue;
        if (info.ssi_signo == SIGWINCH) {
            m_onResize();
        } else if (stopping) {
            // A terminal that closes, and a logout, hang up after the first signal: that is nobody's impatience.
            if (info.ssi_signo != SIGHUP)
                ::_exit(endedBySignal);
        } else {
            stopping = true;
            m_onStop();
        }
    }
}

} // namespace lingrelay
