#include "tests/e2e/Programs.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay {

namespace fs = std::filesystem;

std::string readFile(std::string const& path)
{
    std::ifstream file(path, std::ios::binary);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

void writeFile(std::string const& path, std::string const& text) { std::ofstream(path, std::ios::binary) << text; }

bool waitUntil(double limit, std::function<bool()> const& done)
{
    for (auto const end = Clock::now() + seconds(limit); Clock::now() < end;) {
        if (done())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return done();
}

namespace {

[[noreturn]] void become(std::vector<std::string> const& words, std::vector<std::string> const& environment)
{
    for (auto const& setting : environment) {
        auto const mark = setting.find('=');
        ::setenv(setting.substr(0, mark).c_str(), setting.substr(mark + 1).c_str(), 1);
    }
    std::vector<char*> arguments;
    for (auto const& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    ::execv(arguments[0], arguments.data());
    ::_exit(127);
}

} // namespace

Program::Program(std::vector<std::string> words, std::vector<std::string> environment, Reads reads)
{
    auto const errors = m_folder / "errors";
    auto const output = m_folder / "output";
    if (reads == Reads::terminal) {
        winsize const size{24, 60, 0, 0};
        m_process = ::forkpty(&m_terminal, nullptr, nullptr, &size);
    } else {
        m_process = ::fork();
    }
    if (m_process != 0)
        return;
    ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT, 0600), 2);
    if (reads == Reads::all) {
        ::dup2(::open(output.c_str(), O_WRONLY | O_CREAT, 0600), 1);
    } else if (reads == Reads::nothing) {
        int ends[2];
        if (::pipe(ends) == 0)
            ::dup2(ends[1], 1);
        ::close(ends[0]);
    }
    become(words, environment);
}

Program::~Program()
{
    if (m_process > 0) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    if (m_terminal >= 0)
        ::close(m_terminal);
}

void Program::signal(int number) const { ::kill(m_process, number); }

int Program::wait(double limit)
{
    int status = 0;
    auto const ended = [&] {
        pollfd waits{m_terminal, POLLIN, 0};
        for (char buffer[4096]; m_terminal >= 0 && ::poll(&waits, 1, 0) > 0;) {
            auto const count = ::read(m_terminal, buffer, sizeof buffer);
            if (count <= 0)
                break;
            m_shown.append(buffer, static_cast<std::size_t>(count));
        }
        return ::waitpid(m_process, &status, WNOHANG) == m_process;
    };
    if (!waitUntil(limit, ended))
        return -1;
    m_process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -2;
}

std::string Program::output() const { return m_terminal >= 0 ? m_shown : readFile(m_folder / "output"); }
std::string Program::errors() const { return readFile(m_folder / "errors"); }

std::vector<Json> Program::events() const
{
    std::vector<Json> events;
    std::istringstream lines(output());
    for (std::string line; std::getline(lines, line) && !lines.eof();)
        events.push_back(parseJson(line).value_or(Json{{"event", "not JSON: " + line}}));
    return events;
}

bool Program::waitForEvent(std::string const& name, double limit) const
{
    return waitUntil(limit, [&] { return output().find("\"event\":\"" + name + '"') != std::string::npos; });
}

std::vector<pid_t> Program::children() const
{
    std::istringstream list(readFile(fmt::format("/proc/{0}/task/{0}/children", m_process)));
    std::vector<pid_t> children;
    for (pid_t child = 0; list >> child;)
        children.push_back(child);
    return children;
}

} // namespace lingrelay
