#include "ui/MainView.h"

#include "ui/AppBridge.h"
#include "ui/DesktopBridge.h"
#include "ui/HistoryModel.h"
#include "ui/LinesModel.h"
#include "ui/SectionsBridge.h"
#include "ui/SettingsBridge.h"
#include "ui/captions/CaptionsView.h"

#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QtQml>

namespace lingrelay {

namespace {

constexpr auto pages = "qrc:/qt/qml/Lingrelay/MainWindow.qml";
constexpr auto captionsPanel = "qrc:/qt/qml/Lingrelay/Captions/CaptionsPanel.qml";
constexpr auto uri = "Lingrelay.Model";

/// What every page may call without an import; each text follows the interface language, because reading it here
/// makes the binding that asked depend on it.
constexpr auto globals = R"((function(app) {
    return {
        T: function(en, vi) { return app.english ? en : vi },
        languageName: function(code) { return app.english ? app.languageName(code) : app.languageName(code) }
    }
}))";

} // namespace

struct MainView::Parts {
    Parts(AppModel& model, Scheduler& main, Scheduler& disk, QObject& windowShell)
        : shell(windowShell)
        , app(model)
        , settings(model)
        , sections(model)
        , transcript(model)
        , history(model, main, disk)
    {
    }

    void publish()
    {
        for (auto const& [name, object] : {std::pair<char const*, QObject*>{"App", &app}, {"Settings", &settings},
                 {"Sections", &sections}, {"Transcript", &transcript}, {"History", &history}, {"Desktop", &desktop},
                 {"Shell", &shell}, {"Captions", &captions}}) {
            QQmlEngine::setObjectOwnership(object, QQmlEngine::CppOwnership);
            qmlRegisterSingletonInstance(uri, 1, 0, name, object);
        }
        engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
        auto const functions = engine.evaluate(QString::fromLatin1(globals)).call({engine.newQObject(&app)});
        for (auto const* name : {"T", "languageName"})
            engine.globalObject().setProperty(QString::fromLatin1(name), functions.property(QString::fromLatin1(name)));
    }

    /// The program is of no use without its windows.
    QQuickWindow* load(char const* file)
    {
        auto const before = engine.rootObjects().size();
        engine.load(QUrl(QString::fromLatin1(file)));
        auto const& roots = engine.rootObjects();
        auto* const made = roots.size() > before ? qobject_cast<QQuickWindow*>(roots.constLast()) : nullptr;
        if (!made)
            qFatal("%s could not be made", file);
        return made;
    }

    QObject& shell;
    AppBridge app;
    SettingsBridge settings;
    SectionsBridge sections;
    TranscriptModel transcript;
    HistoryModel history;
    DesktopBridge desktop;
    CaptionsView captions;
    QQmlApplicationEngine engine;
    QQuickWindow* window = nullptr;
};

MainView::MainView(AppModel& model, Scheduler& main, Scheduler& disk, QObject& shell)
    : m_parts(std::make_unique<Parts>(model, main, disk, shell))
{
    auto& parts = *m_parts;
    parts.publish();
    parts.window = parts.load(pages);
    parts.desktop.setWindow(parts.window);
    auto const* const lines = parts.transcript.sourceModel();
    QObject::connect(lines, &QAbstractItemModel::rowsInserted, &parts.captions,
        [lines, &captions = parts.captions](QModelIndex const&, int first, int last) {
            for (int row = first; row <= last; ++row)
                captions.announceLine(lines->index(row, 0).data(LinesModel::TranslationRole).toString());
        });
    QObject::connect(&parts.app, &AppBridge::languageChanged, &parts.history, &HistoryModel::languageChanged);
}

MainView::~MainView() = default;

QQuickWindow* MainView::window() const { return m_parts->window; }
QQuickWindow* MainView::makeCaptionsWindow()
{
    // A root of its own: a window inside the main one would be minimised with it.
    return m_parts->load(captionsPanel);
}
CaptionsView& MainView::captions() { return m_parts->captions; }

void MainView::setHosted(HostedSession& hosted, std::function<std::string(std::string)> clean)
{
    m_parts->app.setHosted(hosted);
    m_parts->history.clean = std::move(clean);
    m_parts->history.setHosted(hosted);
}
void MainView::setLocalService(bool local) { m_parts->app.setLocalService(local); }
void MainView::setAppearance(bool dark, bool reducedMotion) { m_parts->desktop.setAppearance(dark, reducedMotion); }

void MainView::shutdown() { m_parts->history.shutdown(); }
bool MainView::idle() const { return m_parts->history.idle(); }

} // namespace lingrelay
