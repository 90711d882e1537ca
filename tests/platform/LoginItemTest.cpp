#include "platform/linux/XdgLoginItem.h"
#include "tests/support/TemporaryFolder.h"

#include <filesystem>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

TEST(LoginItemTest, isAFileThatTheDesktopMaySwitchOff)
{
    TemporaryFolder folder;
    auto const autostart = folder / "config/autostart";
    XdgLoginItem item(autostart, R"(/opt/My "Apps"/100%/lingrelay)");
    EXPECT_FALSE(item.enabled());
    EXPECT_TRUE(item.setEnabled(false)) << "it is off already";
    ASSERT_TRUE(item.setEnabled(true));
    EXPECT_TRUE(item.enabled());
    auto const text = readFile(autostart + "/lingrelay.desktop");
    EXPECT_NE(text.find(R"(Exec="/opt/My \\"Apps\\"/100%%/lingrelay")"), std::string::npos) << text;
    for (auto const* off : {"Hidden=true", "X-GNOME-Autostart-enabled=false"}) {
        writeFile(autostart + "/lingrelay.desktop", "[Desktop Entry]\nType=Application\n" + std::string(off) + "\n");
        EXPECT_FALSE(item.enabled()) << off;
        ASSERT_TRUE(item.setEnabled(true));
        EXPECT_TRUE(item.enabled()) << off;
    }
    ASSERT_TRUE(item.setEnabled(false));
    EXPECT_TRUE(std::filesystem::is_empty(autostart));

    writeFile(folder / "file", "no folder");
    EXPECT_FALSE(XdgLoginItem(folder / "file/autostart", "/bin/true").setEnabled(true));
}

} // namespace

} // namespace lingrelay
