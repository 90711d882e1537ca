#pragma once

#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestProcess.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace lingrelay {

/// A desktop of the test's own: an X server on a free display, a session bus and a window manager; when asked for, a
/// compositor, and the bus of screen readers. Made before the application object, and one a process: its environment
/// points there afterwards.
class DesktopServer {
public:
    enum class Part { server, bus, windowManager, compositor, accessibility };

    static constexpr int width = 1600;
    static constexpr int height = 1000;

    /// Starts the first three.
    DesktopServer();
    ~DesktopServer();

    bool ready() const { return m_ready; }
    std::string const& folder() const { return m_folder.path(); }

    /// Waits until it can be used; false, with a failure of the test, when it cannot.
    bool start(Part part);
    void end(Part part);
    void signal(Part part, int number) { m_parts.at(part)->signal(number); }

    /// Runs a program to its end: what it prints.
    std::string run(std::vector<std::string> const& words) const;
    std::unique_ptr<TestProcess> startProgram(std::vector<std::string> const& words);

    /// Two monitors side by side, of which the left one is the main one.
    void splitScreen() const;
    void unplugRightHalf() const;
    /// One whole screen of that size, no larger than at the start.
    void setScreen(int width, int height) const;

private:
    bool usable(Part part) const;

    TemporaryFolder m_folder;
    std::map<Part, std::unique_ptr<TestProcess>> m_parts;
    int m_files = 0;
    bool m_ready = false;
};

} // namespace lingrelay
