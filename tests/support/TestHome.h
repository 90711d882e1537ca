#pragma once

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestProcess.h"

#include <filesystem>
#include <map>
#include <memory>

#include <gtest/gtest.h>

namespace lingrelay {

/// A user's home of the test's own, and the servers that run there. This process itself lives there from then on, so
/// there is one at a time.
class TestHome {
public:
    enum class Part { bus, pipewire, sessionManager, pulse, display, windowManager, compositor, accessibility };

    std::string const& folder() const { return m_folder.path(); }
    /// Runs a program to its end: what it prints.
    static std::string run(Words const& words) { return outputOf(words); }

    void end(Part part, int signal = SIGKILL)
    {
        if (auto const& process = m_parts[part])
            process->end(signal);
    }
    void signal(Part part, int number) const { m_parts.at(part)->signal(number); }

protected:
    explicit TestHome(std::map<std::string, std::string> settings = {})
    {
        std::filesystem::create_directory(m_folder / "run");
        std::filesystem::permissions(m_folder / "run", std::filesystem::perms::owner_all);
        settings.merge(std::map<std::string, std::string>{{"HOME", folder()}, {"XDG_RUNTIME_DIR", m_folder / "run"},
            {"XDG_CONFIG_HOME", m_folder / "config"}, {"XDG_DATA_HOME", m_folder / "data"},
            {"XDG_STATE_HOME", m_folder / "state"}, {"XDG_CACHE_HOME", m_folder / "cache"},
            {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + bus()}});
        for (auto const& [name, value] : settings)
            ::setenv(name.c_str(), value.c_str(), 1);
        for (auto const* name : {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "PIPEWIRE_REMOTE", "QT_SCALE_FACTOR",
                 "QT_QPA_PLATFORMTHEME", "XDG_CURRENT_DESKTOP", "DESKTOP_STARTUP_ID"})
            ::unsetenv(name);
    }

    std::string bus() const { return m_folder / "run/bus"; }
    /// It prints its address once it listens, which is later than its socket is there.
    Words busWords() const
    {
        return {
            "dbus-daemon", "--session", "--nofork", "--nopidfile", "--print-address", "--address=unix:path=" + bus()};
    }
    /// Starts one of the servers and waits until it can be used; false, with a failure of the test, when it cannot.
    bool start(Part part, Words const& words, std::function<bool()> const& usable)
    {
        m_parts[part] = std::make_unique<TestProcess>(words);
        bool const good = eventually(usable);
        EXPECT_TRUE(good) << words.front() << " does not start: " << m_parts[part]->errors();
        return good;
    }

    TemporaryFolder m_folder;
    std::map<Part, std::unique_ptr<TestProcess>> m_parts;
};

} // namespace lingrelay
