#include "tests/support/DesktopServer.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

extern char** environ;

namespace lingrelay {

namespace {

namespace fs = std::filesystem;

constexpr double readyLimit = 10; ///< seconds; usually a fraction of one

std::string read(std::string const& path)
{
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

TestProcess::Environment environment()
{
    TestProcess::Environment settings;
    for (auto* setting = environ; *setting; ++setting)
        settings.emplace_back(*setting);
    return settings;
}

} // namespace

DesktopServer::DesktopServer()
{
    auto const runtime = m_folder / "run";
    fs::create_directory(runtime);
    fs::permissions(runtime, fs::perms::owner_all);
    for (auto const* name : {"DISPLAY", "WAYLAND_DISPLAY", "XAUTHORITY", "QT_SCALE_FACTOR", "QT_QPA_PLATFORMTHEME",
             "XDG_CURRENT_DESKTOP", "DESKTOP_STARTUP_ID"})
        ::unsetenv(name);
    for (auto const& [name, value] : std::map<std::string, std::string>{{"HOME", m_folder.path()},
             {"XDG_RUNTIME_DIR", runtime}, {"XDG_CONFIG_HOME", m_folder / "config"},
             {"XDG_DATA_HOME", m_folder / "data"}, {"XDG_CACHE_HOME", m_folder / "cache"},
             {"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + runtime + "/bus"}, {"LANG", "C.UTF-8"},
             {"QT_QPA_PLATFORM", "xcb"}, {"QT_QUICK_BACKEND", "software"}, {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}})
        ::setenv(name.c_str(), value.c_str(), 1);
    m_ready = start(Part::server) && start(Part::bus) && start(Part::windowManager);
}

DesktopServer::~DesktopServer()
{
    for (auto const part : {Part::accessibility, Part::compositor, Part::windowManager, Part::bus, Part::server})
        end(part);
}

bool DesktopServer::start(Part part)
{
    auto const size = fmt::format("{}x{}x24", width, height);
    std::map<Part, std::vector<std::string>> const plans{
        // Without -noreset a server that nobody talks to forgets its monitors.
        {Part::server, {"Xvfb", "-displayfd", "1", "-screen", "0", size, "-nolisten", "tcp", "-noreset"}},
        {Part::bus,
            {"dbus-daemon", "--session", "--nofork", "--nopidfile", "--address=unix:path=" + (m_folder / "run/bus")}},
        {Part::windowManager, {"openbox"}},
        {Part::compositor, {"picom", "--backend", "xrender", "--config", "/dev/null"}},
        {Part::accessibility, {"/usr/libexec/at-spi-bus-launcher", "--launch-immediately"}},
    };
    auto const& plan = plans.at(part);
    m_parts[part] = startProgram(plan);
    bool const good = eventually([&] { return usable(part); }, readyLimit);
    EXPECT_TRUE(good) << plan.front() << " does not start";
    if (good && part == Part::server) {
        auto const number = read(m_parts[part]->output());
        ::setenv("DISPLAY", (":" + number.substr(0, number.find('\n'))).c_str(), 1);
    }
    return good;
}

bool DesktopServer::usable(Part part) const
{
    switch (part) {
    case Part::server: // it has written its number
        return read(m_parts.at(part)->output()).find('\n') != std::string::npos;
    case Part::bus:
        return fs::exists(m_folder / "run/bus");
    case Part::windowManager:
        return run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}).find("window id") != std::string::npos;
    case Part::compositor:
        return !run({"xdotool", "search", "--class", "picom"}).empty();
    case Part::accessibility:
        return run({"xprop", "-root", "AT_SPI_BUS"}).find('=') != std::string::npos;
    }
    return false;
}

void DesktopServer::end(Part part)
{
    if (auto const& process = m_parts[part])
        process->end();
}

std::string DesktopServer::run(std::vector<std::string> const& words) const
{
    TestProcess program(words, environment(), m_folder / "run.out", m_folder / "run.log");
    if (!eventually([&] { return !program.runs(); }))
        ADD_FAILURE() << words.front() << " hangs";
    return read(program.output());
}

std::unique_ptr<TestProcess> DesktopServer::startProgram(std::vector<std::string> const& words)
{
    auto const name = fmt::format("{}/{}-{}", folder(), fs::path(words.front()).filename().string(), ++m_files);
    return std::make_unique<TestProcess>(words, environment(), name + ".out", name + ".log");
}

void DesktopServer::splitScreen() const
{
    auto const half = width / 2;
    run({"xrandr", "--setmonitor", "left", fmt::format("{}/200x{}/250+0+0", half, height), "screen"});
    run({"xrandr", "--setmonitor", "right", fmt::format("{}/200x{}/250+{}+0", half, height, half), "none"});
}

void DesktopServer::unplugRightHalf() const { run({"xrandr", "--delmonitor", "right"}); }

void DesktopServer::setScreen(int width, int height) const
{
    for (auto const* half : {"left", "right"})
        run({"xrandr", "--delmonitor", half});
    auto const mode = fmt::format("{}x{}", width, height);
    if (width != DesktopServer::width || height != DesktopServer::height) {
        auto const w = std::to_string(width);
        auto const h = std::to_string(height);
        run({"xrandr", "--newmode", mode, "0", w, w, w, w, h, h, h, h});
        run({"xrandr", "--addmode", "screen", mode});
    }
    run({"xrandr", "--output", "screen", "--mode", mode});
}

} // namespace lingrelay
