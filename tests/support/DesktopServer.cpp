#include "tests/support/DesktopServer.h"

#include <fmt/format.h>

namespace lingrelay {

DesktopServer::DesktopServer()
    : TestHome({{"LANG", "C.UTF-8"}, {"QT_QPA_PLATFORM", "xcb"}, {"QT_QUICK_BACKEND", "software"},
        {"QT_LINUX_ACCESSIBILITY_ALWAYS_ON", "1"}})
    , m_ready(start(Part::display) && start(Part::bus) && start(Part::windowManager))
{
}

DesktopServer::~DesktopServer()
{
    for (auto const part : {Part::accessibility, Part::compositor, Part::windowManager, Part::bus, Part::display})
        end(part);
}

bool DesktopServer::start(Part part)
{
    std::map<Part, Words> const plans{
        // Without -noreset a server that nobody talks to forgets its monitors.
        {Part::display,
            {"Xvfb", "-displayfd", "1", "-screen", "0", fmt::format("{}x{}x24", width, height), "-nolisten", "tcp",
                "-noreset"}},
        {Part::bus, busWords()},
        {Part::windowManager, {"openbox"}},
        {Part::compositor, {"picom", "--backend", "xrender", "--config", "/dev/null"}},
        {Part::accessibility, {"/usr/libexec/at-spi-bus-launcher", "--launch-immediately"}},
    };
    if (!TestHome::start(part, plans.at(part), [&] { return usable(part); }))
        return false;
    if (part == Part::display) {
        auto const number = m_parts[part]->output();
        ::setenv("DISPLAY", (":" + number.substr(0, number.find('\n'))).c_str(), 1);
    }
    return true;
}

bool DesktopServer::usable(Part part) const
{
    switch (part) {
    case Part::display: // it has written its number
        return m_parts.at(part)->output().find('\n') != std::string::npos;
    case Part::bus:
        return !m_parts.at(part)->output().empty();
    case Part::windowManager:
        return run({"xprop", "-root", "_NET_SUPPORTING_WM_CHECK"}).find("window id") != std::string::npos;
    case Part::compositor:
        return !run({"xdotool", "search", "--class", "picom"}).empty();
    default:
        return run({"xprop", "-root", "AT_SPI_BUS"}).find('=') != std::string::npos;
    }
}

void DesktopServer::splitScreen() const
{
    auto const half = width / 2;
    run({"xrandr", "--setmonitor", "left", fmt::format("{}/200x{}/250+0+0", half, height), "screen"});
    run({"xrandr", "--setmonitor", "right", fmt::format("{}/200x{}/250+{}+0", half, height, half), "none"});
}

void DesktopServer::unplugRightHalf() const { run({"xrandr", "--delmonitor", "right"}); }

void DesktopServer::joinScreen() const { run({"xrandr", "--delmonitor", "left"}); }

} // namespace lingrelay
