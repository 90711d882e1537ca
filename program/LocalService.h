#pragma once

#include "base/Result.h"
#include "base/async/Scheduler.h"
#include "config/AppSettings.h"
#include "config/Hosts.h"

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <sys/types.h>

namespace lingrelay {

/// The local speech service as a child process: started for this run, ended with it, and by the system if this program
/// is killed. Lives on its scheduler, which outlives it.
class LocalService {
public:
    struct Address {
        Hosts hosts;
        std::string token; ///< identifies this program to the service
        std::string source{}; ///< the language that it recognises; empty when it does not say
        std::vector<std::string> targets{}; ///< what it translates that into

        /// What it cannot do of what the settings ask for, in words for the user; empty: nothing.
        std::string problem(AppSettings const& settings) const;
    };
    using Started = std::function<void(Result<Address>)>;

    explicit LocalService(Scheduler& scheduler) : m_scheduler(scheduler) { }
    ~LocalService();

    /// Finds the program, starts it and waits until it listens. `started` is called once, never inside the call; the
    /// error is for the user.
    void start(Started started);
    /// It has ended by itself after it was there; called once a `start`.
    std::function<void()> onEnded;

private:
    static std::optional<std::filesystem::path> find();
    std::optional<Error> spawn(std::filesystem::path const& program);
    void poll();
    void watch();
    std::optional<Result<Address>> look();
    std::string complaint() const;
    void end();

    Scheduler& m_scheduler;
    Started m_started;
    Scheduler::TimerId m_timer = 0;
    Instant m_deadline;
    pid_t m_process = -1;
    int m_output = -1; ///< what it prints
    int m_errors = -1; ///< a file in memory: what it complains about
    std::string m_printed;
};

} // namespace lingrelay
