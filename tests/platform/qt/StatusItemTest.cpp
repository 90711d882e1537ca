#include "platform/linux/qt/QtStatusItem.h"
#include "tests/support/TestProcess.h"

#include <QCoreApplication>
#include <QPixmap>

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

/// The part of a desktop that shows icons of programs, and what is seen there of the one that came last.
class Tray {
public:
    std::string item() const
    {
        auto const items = ask("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher",
            {"org.freedesktop.DBus.Properties.Get", "string:org.kde.StatusNotifierWatcher",
                "string:RegisteredStatusNotifierItems"});
        auto const end = items.rfind('"');
        auto const begin = end == std::string::npos ? end : items.rfind('"', end - 1) + 1;
        return begin == std::string::npos ? "" : items.substr(begin, end - begin);
    }
    bool shows() const
    {
        auto const owned = ask("org.freedesktop.DBus", "/", {"org.freedesktop.DBus.NameHasOwner", "string:" + item()});
        return owned.find("true") != std::string::npos;
    }
    void activate() const
    {
        ask(item(), "/StatusNotifierItem", {"org.kde.StatusNotifierItem.Activate", "int32:1", "int32:1"});
    }
    std::string icon() const
    {
        auto const answer = ask(item(), "/StatusNotifierItem",
            {"org.freedesktop.DBus.Properties.Get", "string:org.kde.StatusNotifierItem", "string:IconPixmap"});
        return answer.substr(answer.find("variant")); // what is before it numbers the answer
    }
    std::string menu() const
    {
        return ask(item(), "/MenuBar",
            {"com.canonical.dbusmenu.GetLayout", "int32:0", "int32:-1", "array:string:label,enabled,type,shortcut"});
    }

private:
    static std::string ask(std::string const& name, char const* path, Words const& words)
    {
        Words all{"dbus-send", "--session", "--print-reply", "--dest=" + name, path};
        all.insert(all.end(), words.begin(), words.end());
        TestProcess const asks(all);
        EXPECT_TRUE(sees([&] { return !asks.runs(); }));
        return asks.output();
    }

    TestProcess m_watcher{{"/usr/bin/python3", LINGRELAY_PORTAL, "light"}};
};

QIcon plain(Qt::GlobalColor colour)
{
    QPixmap pixmap(22, 22);
    pixmap.fill(colour);
    return {pixmap};
}

TEST(StatusItemTest, isSeenByATrayThatComesLateAndByTheNextOne)
{
    QtStatusItem item(plain(Qt::gray), plain(Qt::blue), QStringLiteral("Lingrelay Pro"));
    int activations = 0;
    item.onActivated = [&] { ++activations; };
    sees([] { return true; });
    EXPECT_FALSE(item.available()) << "nobody could find a hidden window again";

    for (int times = 1; times <= 2; ++times) {
        Tray const tray;
        ASSERT_TRUE(sees([&] { return !tray.item().empty(); }));
        EXPECT_TRUE(item.available());
        tray.activate();
        EXPECT_TRUE(sees([&] { return activations == times; })) << activations;
        item.setMenu({{"Idle", nullptr}, {"", nullptr}, {"Open", [] {}, "Ctrl+O"}});
        auto const menu = tray.menu();
        auto const count = [&](char const* word) {
            std::size_t found = 0;
            for (auto at = menu.find(word); at != std::string::npos; at = menu.find(word, at + 1))
                ++found;
            return found;
        };
        EXPECT_TRUE(count("\"Idle\"") == 1 && count("\"Open\"") == 1 && count("separator") == 1) << menu;
        EXPECT_TRUE(count("boolean false") == 1 && count("\"shortcut\"") == 1) << menu;
        item.setMenu({{"Running", nullptr}});
        EXPECT_TRUE(sees([&] { return tray.menu().find("\"Running\"") != std::string::npos; }));
        auto const idle = tray.icon();
        item.setActive(true);
        EXPECT_TRUE(sees([&] { return tray.icon() != idle; }));
        item.setActive(false);
        EXPECT_TRUE(sees([&] { return tray.icon() == idle; }));
        item.setVisible(false);
        EXPECT_TRUE(sees([&] { return !tray.shows(); }));
        item.setVisible(true);
        EXPECT_TRUE(sees([&] { return tray.shows(); }));
    }
    EXPECT_TRUE(sees([&] { return !item.available(); })) << "the tray has gone";
}

} // namespace

} // namespace lingrelay
