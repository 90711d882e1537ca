#pragma once

#include <functional>
#include <memory>

namespace lingrelay {

/// The window program: the controller with the machine's sound, its windows, its tray icon, and the local service when
/// no other is known. One a process; main.
class Program {
public:
    Program();
    ~Program();

    /// Shows the window and serves it until the user quits. The exit code.
    int run();
    /// Brings the window to the front.
    void raise();
    /// The user has quit; what is left to do can take a moment.
    std::function<void()> onEnding = [] {};

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lingrelay
