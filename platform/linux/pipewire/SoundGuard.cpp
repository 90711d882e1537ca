#include "platform/linux/pipewire/SoundGuard.h"

#include "base/Log.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace lingrelay {

SoundGuard::~SoundGuard()
{
    if (m_pipe < 0)
        return;
    ::close(m_pipe);
    while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) { }
}

void SoundGuard::note(Json const& change)
{
    if (m_program.empty() || (m_pipe < 0 && !start()))
        return;
    auto const line = jsonText(change) + '\n';
    if (::write(m_pipe, line.data(), line.size()) < 0)
        Log::write("[sound] the guard is gone: {}", std::strerror(errno));
}

bool SoundGuard::start()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
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
