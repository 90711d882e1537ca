#include "platform/linux/pipewire/SoundGuard.h"

#include "base/Log.h"
#include "base/Time.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace lingrelay {

namespace {

constexpr Duration patience = seconds(3); ///< of a program that ends with a guard that still puts things back

} // namespace

SoundGuard::~SoundGuard()
{
    if (m_starter.joinable())
        m_starter.join();
    if (m_pipe < 0)
        return;
    ::close(m_pipe);
    for (auto const end = Clock::now() + patience; Clock::now() < end;) {
        if (::waitpid(m_process, nullptr, WNOHANG) != 0)
            return;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
}

void SoundGuard::note(Json const& change)
{
    std::lock_guard const lock(m_mutex);
    if (m_program.empty())
        return;
    keep(change);
    if (m_starting || (m_pipe >= 0 && send(change)))
        return;
    m_starting = true;
    if (m_starter.joinable())
        m_starter.join(); // it has done its work
    m_starter = std::thread([this] { replace(); });
}

/// The new guard is told all that is known by then.
void SoundGuard::replace()
{
    if (m_pipe >= 0) {
        Log::write("[sound] the guard is gone");
        end();
    }
    int ends[2];
    bool const connected = ::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0;
    auto const process = connected ? spawn(ends[0]) : -1;
    std::lock_guard const lock(m_mutex);
    m_starting = false;
    if (!connected)
        return; // short of descriptors: the next news tries again
    ::close(ends[0]);
    if (process < 0) {
        ::close(ends[1]);
        m_program.clear(); // once is enough
        return;
    }
    m_process = process;
    m_pipe = ends[1];
    for (auto const& known : m_known)
        send(known.second);
}

void SoundGuard::keep(Json const& change)
{
    if (auto const stream = jsonInteger(change, "stream")) {
        m_known[{Kind::stream, *stream}] = change;
        return;
    }
    auto const kind = change.contains("input") ? Kind::input : Kind::sink;
    if (kind == Kind::sink)
        std::erase_if(m_known, [](auto const& known) { return known.first.first == Kind::stream; });
    m_known[{kind, 0}] = change;
}

/// A guard that hangs or is gone must not stop this program.
bool SoundGuard::send(Json const& change) const
{
    auto const line = jsonText(change) + '\n';
    return ::send(m_pipe, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT) == static_cast<ssize_t>(line.size());
}

/// Before it puts anything back: another one takes its place.
void SoundGuard::end()
{
    // Its number can be another's already, when nobody waits for children here.
    if (::waitpid(m_process, nullptr, WNOHANG) == 0) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    ::close(std::exchange(m_pipe, -1));
}

/// The number of the new process, or -1.
pid_t SoundGuard::spawn(int input) const
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    for (int const output : {STDOUT_FILENO, STDERR_FILENO}) // it can outlive who reads those
        posix_spawn_file_actions_addopen(&actions, output, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // A session of its own: what the terminal sends to this program must not reach the guard.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    auto name = m_program.string();
    char* words[] = {name.data(), nullptr};
    pid_t process = -1;
    int const failed = ::posix_spawn(&process, name.c_str(), &actions, &attributes, words, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (failed == 0)
        return process;
    Log::write("[sound] {}: {}", name, std::strerror(failed));
    return -1;
}

} // namespace lingrelay
