#include "tests/support/TemporaryFolder.h"
#include "tests/support/TestProcess.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include <gtest/gtest.h>
#include <sys/stat.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;

struct SingleInstanceTest : testing::Test {
    SingleInstanceTest()
    {
        fs::create_directory(folder / "run");
        fs::permissions(folder / "run", fs::perms::owner_all);
    }

    std::unique_ptr<TestProcess> launch(Words words = {}) const
    {
        words.insert(words.begin(), fs::read_symlink("/proc/self/exe").parent_path() / "instance_probe");
        return std::make_unique<TestProcess>(words, environment);
    }
    static bool says(TestProcess const& program, std::string const& text)
    {
        return eventually([&] { return program.output() == text; });
    }

    TemporaryFolder folder;
    Words environment{"XDG_RUNTIME_DIR=" + (folder / "run"), "DISPLAY=:7"};
};

TEST_F(SingleInstanceTest, aSecondLaunchRaisesTheFirstAndEnds)
{
    auto const first = launch();
    ASSERT_TRUE(says(*first, "first\n")) << first->output();
    for (std::string raised = "raised\n"; raised.size() < 30; raised += "raised\n") {
        auto const second = launch();
        EXPECT_TRUE(eventually([&] { return !second->runs(); }));
        EXPECT_EQ(second->output(), "second\n");
        EXPECT_TRUE(says(*first, "first\n" + raised)) << first->output();
    }
    environment.back() = "DISPLAY=:8";
    EXPECT_TRUE(says(*launch(), "first\n")) << "the user's other desktop";
    for (auto const& entry : fs::directory_iterator(folder / "run")) {
        struct stat about { };
        ASSERT_EQ(::stat(entry.path().c_str(), &about), 0);
        EXPECT_TRUE(!S_ISSOCK(about.st_mode) || (about.st_mode & 0077) == 0) << "nobody else may ask: " << entry.path();
    }
}

TEST_F(SingleInstanceTest, aKilledOneIsNotInTheWay)
{
    auto const first = launch();
    ASSERT_TRUE(says(*first, "first\n"));
    first->end(SIGKILL);
    EXPECT_FALSE(fs::is_empty(folder / "run")) << "it has left something";
    auto const next = launch();
    EXPECT_TRUE(says(*next, "first\n")) << next->output();
}

TEST_F(SingleInstanceTest, ofManyAtTheSameMomentOneStays)
{
    std::vector<std::unique_ptr<TestProcess>> programs;
    for (int i = 0; i < 6; ++i)
        programs.push_back(launch());
    auto const running = [&] {
        return std::count_if(programs.begin(), programs.end(), [](auto const& program) { return program->runs(); });
    };
    EXPECT_TRUE(eventually([&] { return running() == 1; })) << running();
    for (auto const& program : programs)
        EXPECT_TRUE(program->output().starts_with(program->runs() ? "first" : "second")) << program->output();
}

TEST_F(SingleInstanceTest, theNextOneOfARestartWaitsForTheFirstToEnd)
{
    auto const first = launch();
    ASSERT_TRUE(says(*first, "first\n"));
    auto const next = launch({"--replace"});
    EXPECT_TRUE(eventually([&] { return first->output().find("raised") != std::string::npos; }));
    EXPECT_EQ(next->output(), "");
    first->end();
    EXPECT_TRUE(says(*next, "first\n")) << next->output();
}

TEST_F(SingleInstanceTest, withoutARuntimeFolderThereIsAPrivateOne)
{
    environment = {"TMPDIR=" + folder.path(), "XDG_RUNTIME_DIR", "DISPLAY=:7"};
    auto const first = launch();
    ASSERT_TRUE(says(*first, "first\n")) << first->output();
    EXPECT_TRUE(says(*launch(), "second\n"));
    for (auto const& entry : fs::directory_iterator(folder.path())) {
        auto const others = fs::status(entry.path()).permissions() & (fs::perms::others_all | fs::perms::group_all);
        EXPECT_TRUE(!entry.is_directory() || others == fs::perms::none) << entry.path();
    }
}

} // namespace

} // namespace lingrelay
