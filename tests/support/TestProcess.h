#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace lingrelay {

/// A process that a test starts. Ended with the object, or with the test.
class TestProcess {
public:
    using Environment = std::vector<std::string>; ///< "NAME=VALUE"

    /// `words[0]` is looked for in PATH. What it prints goes to files.
    TestProcess(std::vector<std::string> const& words, Environment const& environment, std::string output,
        std::string const& errors = "/dev/null");
    ~TestProcess();
    TestProcess(TestProcess const&) = delete;
    TestProcess& operator=(TestProcess const&) = delete;

    pid_t id() const { return m_process; }
    bool runs() const;
    void signal(int number) const;
    /// Ends it and waits for that.
    void end(int number = SIGTERM);
    std::string const& output() const { return m_output; }

private:
    mutable pid_t m_process;
    std::string m_output;
};

/// Waits in real time until it is so.
bool eventually(std::function<bool()> const& condition, double limit = 5);

} // namespace lingrelay
