#pragma once

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
    explicit OtherProgram(std::string const& name, Look look = Look::plain);
    ~OtherProgram();

    bool hasFocus();
    /// Does the window manager say that it is in front?
    bool isActive() const;
    /// How often the focus has gone somewhere else.
    int focusLosses();
    void raise();

    /// What the user sees there, as 0xRRGGBB.
    std::uint32_t colourAt(double x, double y);
    /// Switches to another of the window manager's desktops.
    void setDesktop(int number);
    /// Is it to be seen at all?
    bool viewable() const;

private:
    std::string id() const;
    void listen();

    std::unique_ptr<xcb_connection_t, void (*)(xcb_connection_t*)> m_connection;
    std::uint32_t m_root = 0;
    std::uint32_t m_window = 0;
    int m_focusLosses = 0;
};

} // namespace lingrelay
