#include "platform/linux/qt/QtStatusItem.h"
#include "tests/support/TestProcess.h"

#include <QCoreApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QDBusReply>
#include <QDBusVariant>
#include <QPixmap>
#include <QThread>

#include <mutex>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

bool sees(std::function<bool()> const& condition)
{
    return eventually([&] {
        QCoreApplication::processEvents();
        return condition();
    });
}

constexpr auto watcherName = "org.kde.StatusNotifierWatcher";
constexpr auto itemInterface = "org.kde.StatusNotifierItem";
constexpr auto menuInterface = "com.canonical.dbusmenu";

QString text(char const* latin) { return QString::fromLatin1(latin); }

/// One row of a menu as the bus carries it: (ia{sv}av).
struct Row {
    int id = 0;
    QVariantMap properties;

    std::string label() const { return properties.value(text("label")).toString().toStdString(); }
    bool separator() const { return properties.value(text("type")).toString() == text("separator"); }
    bool enabled() const { return properties.value(text("enabled"), true).toBool(); }
};

} // namespace

/// What programs see of a tray. Other threads may ask for the items.
class Watcher : public QObject {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ yes)
    Q_PROPERTY(int ProtocolVersion READ zero)
    Q_PROPERTY(QStringList RegisteredStatusNotifierItems READ items)

public:
    bool yes() const { return true; }
    int zero() const { return 0; }
    QStringList items() const
    {
        std::lock_guard const lock(m_mutex);
        return m_items;
    }

    Q_SLOT void RegisterStatusNotifierItem(QString const& service)
    {
        std::lock_guard const lock(m_mutex);
        m_items.append(service);
    }
    Q_SLOT void RegisterStatusNotifierHost(QString const&) { }
    Q_SIGNAL void StatusNotifierItemRegistered(QString const& service);
    Q_SIGNAL void StatusNotifierHostRegistered();

private:
    mutable std::mutex m_mutex;
    QStringList m_items;
};

namespace {

/// The part of a desktop that shows icons of programs, on a connection and a thread of its own, since Qt waits for it.
class Tray {
public:
    Tray()
    {
        m_bus.registerObject(text("/StatusNotifierWatcher"), m_watcher.get(), QDBusConnection::ExportAllContents);
        m_watcher->moveToThread(&m_thread);
        m_thread.start();
        EXPECT_TRUE(m_bus.registerService(text(watcherName)));
    }
    ~Tray()
    {
        m_bus.unregisterService(text(watcherName));
        m_thread.quit();
        m_thread.wait();
        m_watcher.reset();
        QDBusConnection::disconnectFromBus(m_bus.name());
    }

    QStringList items() const { return m_watcher->items(); }
    /// Is the item that came last still there?
    bool shows() const { return m_bus.interface()->isServiceRegistered(items().constLast()); }
    /// Of the item that came last.
    QVariant property(char const* name)
    {
        auto const answer = call(
            text("/StatusNotifierItem"), "org.freedesktop.DBus.Properties", "Get", {text(itemInterface), text(name)});
        return answer.isEmpty() ? QVariant() : answer.first().value<QDBusVariant>().variant();
    }
    /// The colours of its icon, a(iiay).
    QByteArray iconBytes()
    {
        auto const argument = property("IconPixmap").value<QDBusArgument>();
        int width = 0;
        int height = 0;
        QByteArray bytes;
        argument.beginArray();
        argument.beginStructure();
        argument >> width >> height >> bytes;
        return bytes;
    }
    void activate() { call(text("/StatusNotifierItem"), itemInterface, "Activate", {1, 1}); }
    std::vector<Row> menu()
    {
        auto const path = property("Menu").value<QDBusObjectPath>().path();
        auto const answer = call(path, menuInterface, "GetLayout", {0, -1, QStringList()});
        std::vector<Row> rows;
        if (answer.size() < 2)
            return rows;
        auto const root = answer[1].value<QDBusArgument>();
        QVariantList children;
        int id = 0;
        QVariantMap properties;
        root.beginStructure();
        root >> id >> properties >> children;
        root.endStructure();
        for (auto const& child : children) {
            Row row;
            QVariantList grandchildren;
            auto const argument = child.value<QDBusArgument>();
            argument.beginStructure();
            argument >> row.id >> row.properties >> grandchildren;
            argument.endStructure();
            rows.push_back(row);
        }
        return rows;
    }
    void choose(int id)
    {
        auto const path = property("Menu").value<QDBusObjectPath>().path();
        call(path, menuInterface, "Event", {id, text("clicked"), QVariant::fromValue(QDBusVariant(0)), 0U});
    }

private:
    QVariantList call(QString const& path, char const* interface, char const* method, QVariantList const& arguments)
    {
        auto message = QDBusMessage::createMethodCall(items().constLast(), path, text(interface), text(method));
        message.setArguments(arguments);
        auto pending = m_bus.asyncCall(message);
        EXPECT_TRUE(sees([&] { return pending.isFinished(); }));
        EXPECT_FALSE(pending.isError()) << method << pending.error().message().toStdString();
        return pending.reply().arguments();
    }

    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, text("tray of the test"));
    QThread m_thread;
    std::unique_ptr<Watcher> m_watcher = std::make_unique<Watcher>();
};

QIcon plain(Qt::GlobalColor colour)
{
    QPixmap pixmap(22, 22);
    pixmap.fill(colour);
    return {pixmap};
}

TEST(StatusItemTest, isSeenByATrayThatComesLateAndByTheNextOne)
{
    QtStatusItem item(plain(Qt::gray), plain(Qt::blue), text("Lingrelay Pro"));
    std::string done;
    item.onActivated = [&] { done += "activated "; };
    std::vector<StatusItem::Item> const menu{
        {"Lingrelay Pro — Idle", nullptr}, {"", nullptr}, {"Open", [&] { done += "open "; }, "Ctrl+O"}};
    item.setMenu(menu);
    sees([] { return true; });
    EXPECT_FALSE(item.available()) << "nobody could find a hidden window again";

    for (int times = 0; times < 2; ++times) {
        Tray tray;
        ASSERT_TRUE(sees([&] { return !tray.items().isEmpty(); }));
        EXPECT_TRUE(item.available());
        done.clear();
        tray.activate();
        EXPECT_TRUE(sees([&] { return done == "activated "; })) << done;
        auto rows = tray.menu();
        ASSERT_EQ(rows.size(), 3u);
        EXPECT_EQ(rows[0].label(), "Lingrelay Pro — Idle");
        EXPECT_FALSE(rows[0].enabled());
        EXPECT_TRUE(rows[1].separator());
        EXPECT_TRUE(rows[2].enabled());
        EXPECT_TRUE(rows[2].properties.contains(text("shortcut")) && !rows[0].properties.contains(text("shortcut")));
        tray.choose(rows[2].id);
        EXPECT_TRUE(sees([&] { return done == "activated open "; })) << done;

        item.setMenu({{"Running", nullptr}});
        EXPECT_TRUE(sees([&] {
            auto const now = tray.menu();
            return now.size() == 1 && now[0].label() == "Running";
        }));
        item.setMenu(menu);
        auto const icon = [&] { return tray.iconBytes(); };
        auto const idle = icon();
        item.setActive(true);
        EXPECT_TRUE(sees([&] { return icon() != idle; }));
        item.setActive(false);
        EXPECT_TRUE(sees([&] { return icon() == idle; }));
        item.setVisible(false);
        EXPECT_TRUE(sees([&] { return !tray.shows(); }));
        item.setVisible(true);
        EXPECT_TRUE(sees([&] { return tray.shows(); }));
    }
    EXPECT_TRUE(sees([&] { return !item.available(); })) << "the tray has gone";
}

} // namespace

} // namespace lingrelay

#include "StatusItemTest.moc"
