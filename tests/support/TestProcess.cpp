#include "tests/support/TestProcess.h"

#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay {

namespace {

std::string contentOf(int file)
{
    struct stat about { };
    ::fstat(file, &about);
    std::string text(static_cast<std::size_t>(about.st_size), '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(::pread(file, text.data(), text.size(), 0), 0)));
    return text;
}

} // namespace

TestProcess::TestProcess(Words words, Words const& settings)
    : m_output(::memfd_create("output", MFD_CLOEXEC))
    , m_errors(::memfd_create("errors", MFD_CLOEXEC))
{
    std::vector<char*> arguments;
    for (auto& word : words)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    m_process = ::fork();
    if (m_process != 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (auto const& setting : settings) {
        auto const mark = setting.find('=');
        if (mark == std::string::npos)
            ::unsetenv(setting.c_str());
        else
            ::setenv(setting.substr(0, mark).c_str(), setting.substr(mark + 1).c_str(), 1);
    }
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    ::dup2(m_output, 1);
    ::dup2(m_errors, 2);
    ::execvp(arguments[0], arguments.data());
    ::_exit(127);
}

TestProcess::~TestProcess()
{
    end(SIGKILL);
    for (int const file : {m_output, m_errors})
        ::close(file);
}

bool TestProcess::runs() const
{
    m_ended = m_ended || ::waitpid(m_process, &m_status, WNOHANG) == m_process;
    return !m_ended;
}

void TestProcess::signal(int number) const
{
    if (runs())
        ::kill(m_process, number);
}

int TestProcess::wait(double limit) const
{
    if (!eventually([this] { return !runs(); }, limit))
        return -1;
    return WIFEXITED(m_status) ? WEXITSTATUS(m_status) : -2;
}

void TestProcess::end(int number) const
{
    signal(number);
    if (wait(3) == -1) {
        ::kill(m_process, SIGKILL);
        m_ended = ::waitpid(m_process, &m_status, 0) == m_process;
    }
}

std::string TestProcess::output() const { return contentOf(m_output); }

std::string TestProcess::errors() const { return contentOf(m_errors); }

std::vector<Json> TestProcess::events() const
{
    std::vector<Json> events;
    std::istringstream lines(output());
    for (std::string line; std::getline(lines, line) && !lines.eof();)
        events.push_back(parseJson(line).value_or(Json{{"event", "not JSON: " + line}}));
    return events;
}

bool TestProcess::waitForEvent(std::string const& name, double limit) const
{
    return eventually([&] { return output().find("\"event\":\"" + name + '"') != std::string::npos; }, limit);
}

std::vector<pid_t> TestProcess::children() const
{
    std::vector<pid_t> children;
    for (auto const& thread : std::filesystem::directory_iterator(fmt::format("/proc/{}/task", m_process))) {
        std::ifstream list(thread.path() / "children");
        for (pid_t child = 0; list >> child;)
            children.push_back(child);
    }
    return children;
}

std::string outputOf(Words words)
{
    TestProcess const program(words);
    if (program.wait(15) == -1)
        ADD_FAILURE() << words.front() << " hangs";
    return program.output();
}

bool eventually(std::function<bool()> const& condition, double limit)
{
    for (auto const end = Clock::now() + seconds(limit); Clock::now() < end;) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

} // namespace lingrelay
