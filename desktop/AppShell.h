#pragma once

#include <string>

namespace lingrelay {

/// What the controller needs of the program's windows, menus and dialogs; main.
class AppShell {
public:
    virtual ~AppShell() = default;

    /// Brings the menus up to date with the controller's state.
    virtual void buildMenu() = 0;
    virtual void setStatusItemVisible(bool visible) = 0;
    virtual void showMainWindow() = 0;
    /// Waits for the user's answer: true for the first button.
    virtual bool ask(
        std::string const& title, std::string const& body, std::string const& first, std::string const& second)
        = 0;
    /// Ends dialogs that would hold up the end of the program.
    virtual void tearDownPresentations() = 0;
    virtual void terminate() = 0;
    /// Ends the process here and now.
    virtual void exit() = 0;
};

} // namespace lingrelay
