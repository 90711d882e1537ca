#pragma once

#include "platform/PanelWindow.h"

#include <cstdint>
#include <memory>
#include <string>

struct xcb_connection_t;

namespace lingrelay {

/// Another program on the desktop of `DISPLAY`, with one window in plain white: it takes the focus when it opens, and
/// sees what happens to it. Also an eye on the whole screen.
class OtherProgram {
public:
    enum class Look { plain, fullScreen };

    /// Waits until the window is on the screen. `name` is its WM_CLASS, as "Name".
    explicit OtherProgram(std::string const& name, Look look = Look::plain, Rect frame = {0, 0, 1200, 900});
    ~OtherProgram();

    bool hasFocus();
    /// Does the window manager say that it is in front?
    bool isActive();
    /// How often the focus has gone somewhere else.
    int focusLosses();
    void raise();

    /// What the user sees there, as 0xRRGGBB.
    std::uint32_t colourAt(double x, double y);
    /// Switches to another of the window manager's desktops.
    void setDesktop(std::uint32_t number);
    /// Is it to be seen at all?
    bool viewable();

private:
    std::uint32_t atom(char const* name);
    void ask(char const* type, std::uint32_t first, std::uint32_t second, std::uint32_t window);
    void listen();

    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> m_connection;
    std::uint32_t m_root = 0;
    std::uint32_t m_window = 0;
    int m_focusLosses = 0;
};

} // namespace lingrelay
