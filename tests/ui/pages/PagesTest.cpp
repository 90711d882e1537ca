#include "tests/support/TemporaryFolder.h"
#include "tests/support/World.h"
#include "ui/AppBridge.h"
#include "ui/DesktopBridge.h"
#include "ui/HistoryModel.h"
#include "ui/SettingsBridge.h"

#include <QFont>
#include <QGuiApplication>
#include <QQmlContext>
#include <QQmlEngine>
#include <QtQuickTest/quicktest.h>

namespace lingrelay {

// What the pages stand on, and what has become of it.
class Program : public QObject {
    Q_OBJECT

public:
    Program()
    {
        model.commands.typeToSpeak = [this](std::string const& text) { m_spoken << toQt(text); };
        history.setHosted(world.hosted);
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
            store.archive({id, start, start, "listen", "en", "es", name, {line}});
        }
        store.load();
        history.setQuery({});
        history.setActive(true);
        world.time.runReady();
    }
    Q_INVOKABLE void setTyping(bool typing) { model.typing = typing; }
    Q_INVOKABLE QStringList spoken() { return std::exchange(m_spoken, {}); }

    World world;
    TemporaryFolder folder;
    SessionStore& store = world.registry.put(std::make_shared<SessionStore>(folder / "Sessions"));
    AppModel& model = world.registry.put(std::make_shared<AppModel>());
    AppBridge app{model};
    SettingsBridge settings{model};
    HistoryModel history{model, world.main, world.background};
    DesktopBridge desktop;

private:
    QStringList m_spoken;
};

class Setup : public QObject {
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        QFont font(QStringLiteral("Inter"));
        font.setPixelSize(13);
        QGuiApplication::setFont(font);
    }
    void qmlEngineAvailable(QQmlEngine* engine)
    {
        engine->addImportPath(QStringLiteral("qrc:/qt/qml"));
        engine->globalObject().setProperty(
            QStringLiteral("T"), engine->evaluate(QStringLiteral("(english, vietnamese) => english")));
        engine->rootContext()->setContextProperty(QStringLiteral("Program"), &m_program);
        for (auto const& [name, object] : {std::pair<char const*, QObject*>{"App", &m_program.app},
                 {"Settings", &m_program.settings}, {"History", &m_program.history}, {"Desktop", &m_program.desktop}}) {
            QQmlEngine::setObjectOwnership(object, QQmlEngine::CppOwnership);
            qmlRegisterSingletonInstance("Lingrelay.Model", 1, 0, name, object);
        }
    }

private:
    Program m_program;
};

} // namespace lingrelay

using lingrelay::Setup;
QUICK_TEST_MAIN_WITH_SETUP(pages, Setup)

#include "PagesTest.moc"
