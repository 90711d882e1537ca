#pragma once

#include "base/Registry.h"
#include "desktop/FloatingCaptions.h"
#include "platform/linux/FileDefaults.h"
#include "platform/linux/qt/QtPanelWindow.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/support/DesktopServer.h"
#include "ui/captions/CaptionsView.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>

#include <memory>
#include <ostream>

#include <gtest/gtest.h>

namespace lingrelay {

extern DesktopServer* testDesktop;

inline void PrintTo(Rect const& rect, std::ostream* out) { *out << CaptionLayout::text(rect); }

/// The panel as the program makes it, in its real window on the desktop of the tests.
struct CaptionsWorld : testing::Test {
    CaptionsWorld();
    ~CaptionsWorld() override;

    /// Makes it anew, as another run of the program does.
    void open();
    void close();
    void say(CaptionKind kind, std::string const& text);
    /// Lets the window live until it is so.
    bool sees(std::function<bool()> const& condition, double limit = 3);
    void settle(double time = 0.15);
    /// The user's hand; (x, y) on the whole desktop.
    void pointer(std::string const& words);
    void drag(double x, double y, double dx, double dy);

    TemporaryFolder folder;
    Registry registry;
    std::shared_ptr<FileDefaults> defaults;
    QtScheduler main;
    std::unique_ptr<QQmlApplicationEngine> engine;
    CaptionsView* view = nullptr; ///< the engine's
    QQuickWindow* window = nullptr; ///< the engine's
    std::unique_ptr<QtPanelWindow> panel;
    std::unique_ptr<FloatingCaptions> captions;
};

} // namespace lingrelay
