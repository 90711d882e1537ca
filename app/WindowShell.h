#pragma once

#include "desktop/AppShell.h"

#include <QObject>
#include <QPointer>
#include <QQuickWindow>

#include <functional>
#include <string>

class QEventLoop;

namespace lingrelay {

/// The main window and the end of the program; also what the views call `Shell`. Main.
class WindowShell final : public QObject, public AppShell {
    Q_OBJECT
    Q_PROPERTY(bool launchAtLogin READ launchAtLogin WRITE setLaunchAtLogin NOTIFY launchAtLoginChanged)

public:
    /// All functions are set before the views are loaded.
    std::function<void()> onQuit;
    std::function<bool()> hasStatusItem = [] { return false; };
    std::function<bool()> running = [] { return false; };
    std::function<void()> onResetCaptions;
    std::function<void()> onBuildMenu;
    std::function<void(bool visible)> onStatusItemVisible;
    std::function<bool()> readLaunchAtLogin = [] { return false; };
    std::function<bool(bool on)> writeLaunchAtLogin = [](bool) { return false; };

    void setWindow(QQuickWindow* window) { m_window = window; }
    /// The next call of `showMainWindow` does nothing. The controller shows the window when it begins; by then the
    /// window has long been shown, and stands where the user wants it.
    void ignoreNextShow() { m_ignoreNextShow = true; }

    bool launchAtLogin() const { return readLaunchAtLogin(); }
    void setLaunchAtLogin(bool on);
    Q_INVOKABLE void quit() { onQuit(); }
    /// Whether the window that the user closes may go. The program goes on where a tray icon brings the window back,
    /// and ends otherwise.
    Q_INVOKABLE bool mayClose();
    Q_INVOKABLE bool staysWhenClosed() const { return hasStatusItem(); }
    Q_INVOKABLE void resetCaptions() { onResetCaptions(); }
    /// The user's answer to the question on show.
    Q_INVOKABLE void answer(bool first);

    void buildMenu() override { onBuildMenu(); }
    void setStatusItemVisible(bool visible) override { onStatusItemVisible(visible); }
    void showMainWindow() override;
    /// Other events are served meanwhile. A second question at the same time is answered with the second button.
    bool ask(std::string const& title, std::string const& body, std::string const& first,
        std::string const& second) override;
    void tearDownPresentations() override;
    void terminate() override;
    [[noreturn]] void exit() override;

    Q_SIGNAL void launchAtLoginChanged();

private:
    void place();

    QPointer<QQuickWindow> m_window;
    bool m_ignoreNextShow = false;
    bool m_placed = false;
    QEventLoop* m_asking = nullptr; ///< runs while a question is on show
};

} // namespace lingrelay
