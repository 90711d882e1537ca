#include "app/WindowShell.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/World.h"
#include "ui/AppBridge.h"
#include "ui/DesktopBridge.h"
#include "ui/HistoryModel.h"
#include "ui/LinesModel.h"
#include "ui/SectionsBridge.h"
#include "ui/SettingsBridge.h"
#include "ui/captions/CaptionsView.h"

#include <QAccessible>
#include <QDir>
#include <QFont>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QQuickItem>
#include <QTimer>
#include <QtQuickTest/quicktest.h>

namespace lingrelay {

// What a screen reader sees of an item, and what it can do with it.
class Reader : public QObject {
    Q_OBJECT

public:
    Q_INVOKABLE QString name(QQuickItem* item) const { return text(item, QAccessible::Name); }
    Q_INVOKABLE QString description(QQuickItem* item) const { return text(item, QAccessible::Description); }
    Q_INVOKABLE bool isChecked(QQuickItem* item) const
    {
        auto const* const seen = QAccessible::queryAccessibleInterface(item);
        return seen && seen->state().checked;
    }
    Q_INVOKABLE bool setValue(QQuickItem* item, double value)
    {
        auto* const seen = QAccessible::queryAccessibleInterface(item);
        if (!seen || !seen->valueInterface())
            return false;
        seen->valueInterface()->setCurrentValue(value);
        return true;
    }
    // False when the item offers no such action.
    Q_INVOKABLE bool act(QQuickItem* item, QString const& action)
    {
        auto* const seen = QAccessible::queryAccessibleInterface(item);
        if (!seen || !seen->actionInterface() || !seen->actionInterface()->actionNames().contains(action))
            return false;
        seen->actionInterface()->doAction(action);
        return true;
    }

private:
    static QString text(QQuickItem* item, QAccessible::Text kind)
    {
        auto const* const seen = QAccessible::queryAccessibleInterface(item);
        return seen ? seen->text(kind) : QString();
    }
};

// What the pages stand on, and what has become of it.
class Program : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool tray MEMBER m_tray)

public:
    Program()
    {
        auto& commands = model.commands;
        commands.applySettings = [this] { m_asked << toQt(fmt::format("apply {}", rawValue(model.settings->mode))); };
        for (auto const& [name, command] : {std::pair("mic", &AppModel::Commands::pickMic),
                 {"speak", &AppModel::Commands::pickSpeakOut}, {"listen", &AppModel::Commands::pickListenOut}})
            commands.*command = [this, name = name](AppModel::Commands::Device device) {
                m_asked << toQt(fmt::format("{} {}", name, device ? std::to_string(*device) : "default"));
            };
        model.inputDevices = std::vector<AudioDevice>{{1, "Microphone"}, {2, "Headset"}};
        model.outputDevices = std::vector<AudioDevice>{{3, "Speakers"}, {4, "Headset"}};
        history.setHosted(world.hosted);
        shell.onQuit = [this] { m_asked << QStringLiteral("quit"); };
        shell.hasStatusItem = [this] { return m_tray; };
        shell.running = [this] { return *model.running; };
    }
    ~Program() override { history.shutdown(); }

    // As many sessions as that, the newest first.
    Q_INVOKABLE void archive(int count)
    {
        auto const old = *store.sessions();
        for (auto const& session : old)
            store.remove(session);
        for (int i = 0; i < count; ++i) {
            auto const id = fmt::format("00000000-0000-4000-8000-{:012}", i);
            Date const start{std::chrono::hours(count - i)};
            AppModel::Line const line{id, start, AppModel::Direction::listen, "", "words", "palabras"};
            auto const name = "Session " + std::to_string(i);
            std::ignore = store.archive({id, start, start, "listen", "en", "es", name, {line}});
        }
        store.load();
        history.setQuery({});
        history.setActive(true);
        world.time.runReady();
    }
    Q_INVOKABLE void setRunning(bool running) { model.running = running; }
    Q_INVOKABLE void setWindow(QQuickWindow* window) { shell.setWindow(window); }
    // While the question stands, `meanwhile` is called again and again.
    Q_INVOKABLE bool ask(QString const& title, QJSValue meanwhile)
    {
        QTimer pulse;
        connect(&pulse, &QTimer::timeout, this, [&] {
            if (auto const outcome = meanwhile.call(); outcome.isError()) {
                qWarning("%s", qUtf8Printable(outcome.toString()));
                shell.answer(false);
            }
        });
        pulse.start(10);
        return shell.ask(title.toStdString(), "Why it is asked.", "Yes", "No");
    }
    Q_INVOKABLE QStringList asked() { return std::exchange(m_asked, {}); }

    World world;
    TemporaryFolder folder;
    SessionStore& store = world.registry.put(std::make_shared<SessionStore>(folder / "Sessions"));
    AppModel& model = world.registry.put(std::make_shared<AppModel>());
    WindowShell shell;
    AppBridge app{model};
    SettingsBridge settings{model};
    SectionsBridge sections{model};
    TranscriptModel transcript{model};
    HistoryModel history{model, world.main, world.background};
    DesktopBridge desktop;
    CaptionsView captions;

private:
    bool m_tray = false;
    QStringList m_asked; // of the program, by the views
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        QAccessible::setActive(true);
        QFont font(QStringLiteral("Inter"));
        font.setPixelSize(13);
        QGuiApplication::setFont(font);
    }
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        auto& program = m_program;
        for (auto const& [name, object] :
            {std::pair<char const*, QObject*>{"App", &program.app}, {"Settings", &program.settings},
                {"Sections", &program.sections}, {"Transcript", &program.transcript}, {"History", &program.history},
                {"Desktop", &program.desktop}, {"Shell", &program.shell}, {"Captions", &program.captions}}) {
            QQmlEngine::setObjectOwnership(object, QQmlEngine::CppOwnership);
            qmlRegisterSingletonInstance("Lingrelay.Model", 1, 0, name, object);
        }
        auto const global = [&](char const* name, char const* function) {
            engine->globalObject().setProperty(QString::fromLatin1(name),
                engine->evaluate(QString::fromLatin1(function)).call({engine->newQObject(&program.app)}));
        };
        global("T", "(app => (english, vietnamese) => app.english ? english : vietnamese)");
        global("languageName", "(app => code => app.languageName(code))");
        auto* const context = engine->rootContext();
        context->setContextProperty(QStringLiteral("Program"), &program);
        context->setContextProperty(QStringLiteral("Reader"), &m_reader);
        context->setContextProperty(QStringLiteral("pictures"), qEnvironmentVariable("VIEWS_PICTURES"));
    }

private:
    Program m_program;
    Reader m_reader;
};

} // namespace lingrelay

using lingrelay::Setup;
QUICK_TEST_MAIN_WITH_SETUP(views, Setup)

#include "ViewsTest.moc"
