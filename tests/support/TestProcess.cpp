#include "tests/support/TestProcess.h"

#include "base/Time.h"

#include <thread>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay {

bool eventually(std::function<bool()> const& condition, double limit)
{
    for (auto const end = Clock::now() + seconds(limit); Clock::now() < end;) {
        if (condition())
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return condition();
}

TestProcess::TestProcess(std::vector<std::string> const& words, Environment const& environment, std::string output,
    std::string const& errors)
    : m_output(std::move(output))
{
    std::vector<char*> arguments;
    for (auto const& word : words)
        arguments.push_back(const_cast<char*>(word.c_str()));
    arguments.push_back(nullptr);
    std::vector<char*> settings;
    for (auto const& setting : environment)
        settings.push_back(const_cast<char*>(setting.c_str()));
    settings.push_back(nullptr);
    m_process = ::fork();
    if (m_process != 0)
        return;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::dup2(::open("/dev/null", O_RDONLY), 0);
    ::dup2(::open(m_output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
    ::dup2(::open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
    ::execvpe(arguments[0], arguments.data(), settings.data());
    ::_exit(127);
}

TestProcess::~TestProcess() { end(SIGKILL); }

bool TestProcess::runs() const
{
    if (m_process > 0 && ::waitpid(m_process, nullptr, WNOHANG) == m_process)
        m_process = -1;
    return m_process > 0;
}

void TestProcess::signal(int number) const
{
    if (runs())
        ::kill(m_process, number);
}

void TestProcess::end(int number)
{
    signal(number);
    if (!eventually([this] { return !runs(); }, 3) && m_process > 0) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
        m_process = -1;
    }
}

} // namespace lingrelay
