#include "service/engines/ChildProcess.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay::service {

namespace {

/// Both ends of a pipe that no other child inherits.
struct PipeEnds {
    int ends[2] = {-1, -1};

    bool open() { return ::pipe2(ends, O_CLOEXEC) == 0; }
    int take(int end) { return std::exchange(ends[end], -1); }
    ~PipeEnds()
    {
        for (int const end : ends) {
            if (end >= 0)
                ::close(end);
        }
    }
};

/// Signals are as a fresh program expects them: nothing blocked, SIGPIPE deadly, a group of its own.
void setAttributes(posix_spawnattr_t& attributes)
{
    sigset_t signals;
    ::sigemptyset(&signals);
    ::posix_spawnattr_setsigmask(&attributes, &signals);
    ::sigaddset(&signals, SIGPIPE);
    ::posix_spawnattr_setsigdefault(&attributes, &signals);
    ::posix_spawnattr_setpgroup(&attributes, 0);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
}

/// Programs without a locale, or with one that was never made, take and give something else than UTF-8, or nothing.
std::vector<std::string> childEnvironment()
{
    std::vector<std::string> variables{"LC_ALL=C.UTF-8"};
    for (char** each = environ; *each; ++each) {
        std::string_view const variable = *each;
        if (!variable.starts_with("LC_") && !variable.starts_with("LANG=") && !variable.starts_with("LANGUAGE="))
            variables.emplace_back(variable);
    }
    return variables;
}

std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> result;
    for (auto& text : texts)
        result.push_back(text.data());
    result.push_back(nullptr);
    return result;
}

int spawn(std::vector<std::string> arguments, int input, int output, pid_t& process)
{
    auto variables = childEnvironment();
    auto const words = pointers(arguments);
    auto const settings = pointers(variables);
    posix_spawn_file_actions_t files;
    ::posix_spawn_file_actions_init(&files);
    ::posix_spawn_file_actions_adddup2(&files, input, 0);
    ::posix_spawn_file_actions_adddup2(&files, output, 1);
    ::posix_spawn_file_actions_addopen(&files, 2, "/dev/null", O_WRONLY, 0);
    ::posix_spawn_file_actions_addclosefrom_np(&files, 3);
    posix_spawnattr_t attributes;
    ::posix_spawnattr_init(&attributes);
    setAttributes(attributes);
    int const error = ::posix_spawnp(&process, words[0], &files, &attributes, words.data(), settings.data());
    ::posix_spawnattr_destroy(&attributes);
    ::posix_spawn_file_actions_destroy(&files);
    return error;
}

} // namespace

Result<std::unique_ptr<ChildProcess>> ChildProcess::start(
    boost::asio::any_io_executor executor, std::vector<std::string> const& arguments)
{
    PipeEnds toChild, fromChild;
    if (!toChild.open() || !fromChild.open())
        return Error{Error::Kind::other, fmt::format("no pipe: {}", std::strerror(errno))};
    pid_t process = -1;
    if (int const error = spawn(arguments, toChild.ends[0], fromChild.ends[1], process); error != 0)
        return Error{Error::Kind::other, fmt::format("{} does not start: {}", arguments[0], std::strerror(error))};
    return std::unique_ptr<ChildProcess>(
        new ChildProcess(std::move(executor), process, toChild.take(1), fromChild.take(0)));
}

ChildProcess::ChildProcess(boost::asio::any_io_executor executor, int process, int input, int output)
    : m_process(process)
    , m_input(executor, input)
    , m_output(executor, output)
{
}

ChildProcess::~ChildProcess()
{
    // Killed outright, it is gone within a moment: waiting here costs less than a reaper.
    ::kill(-m_process, SIGKILL);
    while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) { }
}

} // namespace lingrelay::service
