#pragma once

#include "base/Registry.h"
#include "config/L10n.h"
#include "desktop/FloatingCaptions.h"
#include "platform/linux/FileDefaults.h"
#include "platform/linux/qt/QtPanelWindow.h"
#include "platform/linux/qt/QtScheduler.h"
#include "tests/support/DesktopServer.h"
#include "ui/captions/CaptionsView.h"

#include <QCoreApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QtQml>

#include <cmath>
#include <memory>
#include <ostream>
#include <sstream>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace lingrelay {

extern DesktopServer* testDesktop;

inline void PrintTo(Rect const& rect, std::ostream* out) { *out << CaptionLayout::text(rect); }

/// The panel as the program makes it, in its real window on the desktop of the tests.
struct CaptionsWorld : testing::Test {
    CaptionsWorld()
    {
        registry.put(std::make_shared<UiLanguage>());
        open();
    }
    ~CaptionsWorld() override { close(); }
    /// Makes it anew, as another run of the program does.
    void open()
    {
        close();
        if (defaults)
            defaults->flush();
        defaults = std::make_shared<FileDefaults>(folder / "defaults.json");
        registry.put<Defaults>(defaults);
        model = &registry.put(std::make_shared<AppModel>());
        model->running = true;
        engine = std::make_unique<QQmlApplicationEngine>();
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        engine->globalObject().setProperty(
            QStringLiteral("T"), engine->evaluate(QStringLiteral("(function(en, vi) { return en })")));
        static int const type = qmlRegisterSingletonType<CaptionsView>(
            "Lingrelay.Model", 1, 0, "Captions", [](QQmlEngine*, QJSEngine*) -> QObject* { return new CaptionsView; });
        view = engine->singletonInstance<CaptionsView*>(type);
        engine->load(QUrl(QStringLiteral("qrc:/qt/qml/Lingrelay/Captions/CaptionsPanel.qml")));
        window = qobject_cast<QQuickWindow*>(engine->rootObjects().value(0));
        ASSERT_TRUE(window);
        panel = std::make_unique<QtPanelWindow>(*window, 16);
        captions = std::make_unique<FloatingCaptions>(main, *panel, *model);
        view->follow(*captions, *panel);
    }
    void close()
    {
        captions.reset();
        panel.reset();
        engine.reset();
    }
    void say(CaptionKind kind, std::string const& text)
    {
        captions->update(kind, text);
        EXPECT_TRUE(sees([this] { return window->isExposed(); }));
        settle(0.05);
    }
    /// Lets the window live until it is so.
    bool sees(std::function<bool()> const& condition, double limit = 3)
    {
        auto const live = [&] {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            return condition();
        };
        return eventually(live, limit);
    }
    void settle(double time = 0.15)
    {
        auto const end = Clock::now() + seconds(time);
        sees([&] { return Clock::now() >= end; });
    }
    /// The user's hand; (x, y) on the whole desktop.
    void pointer(std::string const& words)
    {
        std::istringstream in("xdotool " + words);
        testDesktop->run({std::istream_iterator<std::string>(in), {}});
        QCoreApplication::processEvents();
    }
    void drag(double x, double y, double dx, double dy)
    {
        constexpr int steps = 5;
        pointer(fmt::format("mousemove {} {} mousedown 1", x, y));
        for (int step = 1; step <= steps; ++step) {
            pointer(
                fmt::format("mousemove {} {}", std::round(x + dx * step / steps), std::round(y + dy * step / steps)));
            settle(0.04);
        }
        pointer("mouseup 1");
        settle();
    }

    TemporaryFolder folder;
    Registry registry;
    std::shared_ptr<FileDefaults> defaults;
    AppModel* model = nullptr; ///< the registry's; a session runs
    QtScheduler main;
    std::unique_ptr<QQmlApplicationEngine> engine;
    CaptionsView* view = nullptr; ///< the engine's
    QQuickWindow* window = nullptr; ///< the engine's
    std::unique_ptr<QtPanelWindow> panel;
    std::unique_ptr<FloatingCaptions> captions;
};

} // namespace lingrelay
