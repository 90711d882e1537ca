#pragma once

#include "base/Json.h"
#include "base/Time.h"
#include "tests/support/TemporaryFolder.h"

#include <csignal>
#include <functional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace lingrelay {

using Words = std::vector<std::string>;

/// A process that a test starts. Ended with the object, or with the test.
class TestProcess {
public:
    /// `words[0]` is looked for in PATH. `settings` change its environment: "NAME=VALUE", or "NAME" to take one away.
    explicit TestProcess(Words words, Words const& settings = {});
    ~TestProcess();
    TestProcess(TestProcess const&) = delete;
    TestProcess& operator=(TestProcess const&) = delete;

    pid_t id() const { return m_process; }
    bool runs() const;
    void signal(int number) const;
    /// The exit status; negative when it took longer than `limit` seconds, or a signal ended it.
    int wait(double limit = 40) const;
    /// Ends it and waits for that.
    void end(int number = SIGTERM) const;

    std::string output() const;
    std::string errors() const;
    /// Standard output as events, a JSON object each line.
    std::vector<Json> events() const;
    /// Waits until an event of this name is there.
    bool waitForEvent(std::string const& name, double limit = 15) const;
    /// The child processes that it has now.
    std::vector<pid_t> children() const;

private:
    pid_t m_process = -1;
    int m_output = -1;
    int m_errors = -1;
    mutable bool m_ended = false;
    mutable int m_status = 0;
};

/// Runs a program to its end: what it prints.
std::string outputOf(Words words);
/// Waits in real time until it is so.
bool eventually(std::function<bool()> const& condition, double limit = 15);

} // namespace lingrelay
