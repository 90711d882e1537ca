#pragma once

#include "tests/support/TestHome.h"

namespace lingrelay {

/// A desktop of the test's own: an X server on a free display, a session bus and a window manager; when asked for, a
/// compositor, and the bus of screen readers. Made before the application object.
class DesktopServer : public TestHome {
public:
    static constexpr int width = 1600;
    static constexpr int height = 1000;

    /// Starts the first three.
    DesktopServer();
    ~DesktopServer();

    bool ready() const { return m_ready; }
    bool start(Part part);
    void end(Part part) { TestHome::end(part, SIGTERM); }

    /// Two monitors side by side, of which the left one is the main one.
    void splitScreen() const;
    void unplugRightHalf() const;
    void joinScreen() const; ///< whole again

private:
    bool usable(Part part) const;

    bool m_ready = false;
};

} // namespace lingrelay
