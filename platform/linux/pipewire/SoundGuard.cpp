#include "platform/linux/pipewire/SoundGuard.h"

#include "base/Log.h"
#include "base/Time.h"

#include <cerrno>
#include <cstring>
#include <thread>

#include <fcntl.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace lingrelay {

namespace {

constexpr Duration patience = seconds(3); ///< with a guard that still has to put things back

} // namespace

SoundGuard::~SoundGuard()
{
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
    if (m_program.empty() || (m_pipe < 0 && !start()))
        return;
    auto const line = jsonText(change) + '\n';
    // A guard that hangs or is gone must not stop this program.
    if (::send(m_pipe, line.data(), line.size(), MSG_NOSIGNAL | MSG_DONTWAIT) != static_cast<ssize_t>(line.size()))
        Log::write("[sound] the guard is gone: {}", std::strerror(errno));
}

bool SoundGuard::start()
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[0], STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    // A session of its own: what the terminal sends to this program must not reach the guard.
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    auto name = m_program.string();
    char* words[] = {name.data(), nullptr};
    int const failed = ::posix_spawn(&m_process, name.c_str(), &actions, &attributes, words, environ);
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    ::close(ends[0]);
    if (failed != 0) {
        Log::write("[sound] {}: {}", name, std::strerror(failed));
        ::close(ends[1]);
        m_program.clear(); // once is enough
        return false;
    }
    m_pipe = ends[1];
    return true;
}

} // namespace lingrelay
