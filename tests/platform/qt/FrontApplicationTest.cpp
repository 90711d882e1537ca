#include "platform/linux/AsioScheduler.h"
#include "platform/linux/DesktopFiles.h"
#include "platform/linux/qt/QtScheduler.h"
#include "platform/linux/qt/QtWorkspace.h"
#include "tests/support/OtherProgram.h"
#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestProcess.h"

#include <QCoreApplication>

#include <filesystem>
#include <vector>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;

void install(fs::path const& folder, std::string const& file, std::string const& windowClass = {})
{
    auto const more = windowClass.empty() ? "" : "StartupWMClass=" + windowClass + "\n";
    writeFile(folder / file, "[Desktop Entry]\nType=Application\nName=It\nExec=it\n" + more);
}

TEST(DesktopFilesTest, whatAFileSaysCountsMoreThanItsName)
{
    TemporaryFolder folder;
    fs::path const user = folder / "user";
    fs::path const system = folder / "system";
    install(system, "browser-esr.desktop", "Browser");
    install(system, "browser.desktop");
    install(system, "org.example.Editor.desktop");
    install(system, "kde/player.desktop");
    install(system, "Viewer.desktop");
    install(system, "viewer.desktop");
    install(system, "notes.txt", "Notes");
    install(user, "mail-mine.desktop", "Mail");
    install(system, "mail.desktop", "mail");
    DesktopFiles const files({user, system, folder / "missing"});
    EXPECT_EQ(files.idFor("Browser"), "browser-esr");
    EXPECT_EQ(files.idFor("browser"), "browser");
    EXPECT_EQ(files.idFor("editor"), "org.example.Editor");
    EXPECT_EQ(files.idFor("org.example.editor"), "org.example.Editor");
    EXPECT_EQ(files.idFor("kde-player"), "kde-player");
    EXPECT_EQ(files.idFor("viewer"), "viewer");
    EXPECT_EQ(files.idFor("Viewer"), "Viewer");
    EXPECT_EQ(files.idFor("Mail"), "mail-mine");
    EXPECT_EQ(files.idFor("mail"), "mail");
    EXPECT_EQ(files.idFor("Notes"), "");
}

TEST(FrontApplicationTest, eachApplicationThatComesToTheFrontIsTold)
{
    fs::path const applications = fs::path(std::getenv("XDG_DATA_HOME")) / "applications";
    install(applications, "editor-pro.desktop", "Editor");
    std::vector<std::string> told;
    auto const tells = [&](std::vector<std::string> const& expected) {
        return eventually([&] {
            QCoreApplication::processEvents();
            return told == expected;
        });
    };
    OtherProgram atFirst("Terminal");
    QtScheduler main;
    AsioRuntime reader{AsioRuntime::Jobs::mayBlock};
    auto const disk = reader.makeScheduler();
    QtWorkspace workspace(main, *disk);
    auto watch = workspace.watchFrontApplication([&](std::string const& id) { told.push_back(id); });
    ASSERT_TRUE(watch);
    {
        OtherProgram editor("Editor");
        EXPECT_TRUE(tells({"editor-pro"})) << told.size();
        OtherProgram another("Editor");
        OtherProgram unknown("Unknown Thing");
        EXPECT_TRUE(tells({"editor-pro", "Unknown Thing"})) << "its second window is no other application";
        editor.raise();
        EXPECT_TRUE(tells({"editor-pro", "Unknown Thing", "editor-pro"}));
    }
    EXPECT_TRUE(tells({"editor-pro", "Unknown Thing", "editor-pro", "Terminal"}));
    watch.reset();
    OtherProgram late("Late");
    eventually(
        [] {
            QCoreApplication::processEvents();
            return false;
        },
        0.2);
    EXPECT_EQ(told.size(), 4u);
}

} // namespace

} // namespace lingrelay
