#include "tests/ui/captions/CaptionsWorld.h"

#include "config/L10n.h"

#include <QCoreApplication>
#include <QtPlugin>
#include <QtQml>

#include <cmath>
#include <sstream>

#include <fmt/format.h>

Q_IMPORT_PLUGIN(Lingrelay_CaptionsPlugin)
Q_IMPORT_PLUGIN(Lingrelay_ControlsPlugin)

namespace lingrelay {

namespace {

constexpr int corner = 16; ///< radius

std::vector<std::string> wordsOf(std::string const& text)
{
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

} // namespace

CaptionsWorld::CaptionsWorld()
{
    registry.put(std::make_shared<UiLanguage>());
    open();
}

CaptionsWorld::~CaptionsWorld() { close(); }

void CaptionsWorld::open()
{
    close();
    if (defaults)
        defaults->flush();
    defaults = std::make_shared<FileDefaults>(folder / "defaults.json");
    registry.put<Defaults>(defaults);
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
    panel = std::make_unique<QtPanelWindow>(*window, corner);
    captions = std::make_unique<FloatingCaptions>(main, *panel);
    view->follow(*captions, *panel);
}

void CaptionsWorld::close()
{
    captions.reset();
    panel.reset();
    engine.reset();
}

void CaptionsWorld::say(CaptionKind kind, std::string const& text)
{
    captions->update(kind, text);
    EXPECT_TRUE(sees([this] { return window->isExposed(); }));
    settle(0.05);
}

bool CaptionsWorld::sees(std::function<bool()> const& condition, double limit)
{
    return eventually(
        [&] {
            QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
            return condition();
        },
        limit);
}

void CaptionsWorld::settle(double time)
{
    auto const end = Clock::now() + seconds(time);
    sees([&] { return Clock::now() >= end; });
}

void CaptionsWorld::pointer(std::string const& words)
{
    auto command = wordsOf(words);
    command.insert(command.begin(), "xdotool");
    testDesktop->run(command);
    QCoreApplication::processEvents();
}

void CaptionsWorld::drag(double x, double y, double dx, double dy)
{
    constexpr int steps = 5;
    pointer(fmt::format("mousemove {} {} mousedown 1", x, y));
    for (int step = 1; step <= steps; ++step) {
        pointer(fmt::format("mousemove {} {}", std::round(x + dx * step / steps), std::round(y + dy * step / steps)));
        settle(0.04);
    }
    pointer("mouseup 1");
    settle();
}

} // namespace lingrelay
