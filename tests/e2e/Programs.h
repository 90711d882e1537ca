#pragma once

#include "base/Json.h"
#include "base/Time.h"
#include "tests/support/TemporaryFolder.h"

#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace lingrelay {

std::string readFile(std::string const& path);
void writeFile(std::string const& path, std::string const& text);
bool waitUntil(double limit, std::function<bool()> const& done);

/// One of our programs, run as a user does. Ended with the object.
class Program {
public:
    enum class Reads { all, nothing, terminal }; ///< what reads its standard output

    Program(std::vector<std::string> words, std::vector<std::string> environment, Reads reads = Reads::all);
    ~Program();

    void signal(int number) const;
    /// The exit status; negative when it took longer than `limit` seconds, or a signal ended it.
    int wait(double limit = 40);

    std::string output() const;
    std::string errors() const;
    /// Standard output as events.
    std::vector<Json> events() const;
    /// Waits until an event of this name is there.
    bool waitForEvent(std::string const& name, double limit = 15) const;
    /// The child processes that it has now.
    std::vector<pid_t> children() const;

private:
    TemporaryFolder m_folder;
    pid_t m_process = -1;
    int m_terminal = -1;
    std::string m_shown; ///< of the terminal
};

} // namespace lingrelay
