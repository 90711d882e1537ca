#include "sessions/SessionStore.h"

#include "base/Json.h"
#include "tests/sessions/Samples.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <thread>

#include <sys/stat.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;
using Session = SessionStore::Session;

class SessionStoreTest : public testing::Test {
protected:
    SessionStoreTest()
    {
        ::setenv("LC_ALL", "en_US.UTF-8", 1);
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }
    ~SessionStoreTest() override { ::unsetenv("LC_ALL"); }

    std::vector<std::string> found(std::string_view query)
    {
        std::vector<std::string> ids;
        for (auto const& session : store.search(query))
            ids.push_back(session.id);
        return ids;
    }
    /// The sample as stored, changed, then read.
    std::optional<Session> reread(std::function<void(Json&)> const& change)
    {
        auto const path = *store.archive(sampleSession(1, {sampleLine(1, "a", "b")}));
        auto json = *parseJson(readFile(path));
        change(json);
        writeFile(path, jsonText(json));
        return SessionStore::read(path);
    }
    static unsigned modeOf(fs::path const& path) { return static_cast<unsigned>(fs::status(path).permissions()); }

    TemporaryFolder scratch;
    fs::path const folder = scratch / "data/LingrelayPro/Sessions";
    SessionStore store{folder};
};

TEST_F(SessionStoreTest, whatIsArchivedComesBackAndOnlyItsUserMayReadIt)
{
    auto const mask = ::umask(0);
    auto session = sampleSession(7, {sampleLine(1, "Xin chào", "Hello \"you\"\n"), sampleLine(2, "", "👋")});
    EXPECT_TRUE(store.sessions()->empty());
    auto const path = store.archive(session);
    ::umask(mask);
    ASSERT_TRUE(path);
    EXPECT_EQ(*path, folder / (session.id + ".json"));
    EXPECT_EQ(*store.sessions(), std::vector{session}) << "archiving publishes";
    SessionStore another(folder);
    EXPECT_EQ(*another.sessions(), std::vector{session});
    for (fs::path const& made : {fs::path(scratch / "data"), folder.parent_path(), folder})
        EXPECT_EQ(modeOf(made), 0700U) << made;
    EXPECT_EQ(modeOf(*path), 0600U);
}

TEST_F(SessionStoreTest, everyKeyIsNeededWithItsType)
{
    ASSERT_TRUE(reread([](Json&) {}));
    for (auto const* key : {"id", "startedAt", "endedAt", "mode", "sourceLang", "targetLang", "profileName", "lines"}) {
        EXPECT_FALSE(reread([&](Json& json) { json.erase(key); })) << key;
        EXPECT_FALSE(reread([&](Json& json) { json[key] = 5; })) << key;
    }
    for (auto const* key : {"id", "at", "direction", "source", "translation", "speaker"}) {
        EXPECT_FALSE(reread([&](Json& json) { json["lines"][0].erase(key); })) << key;
        EXPECT_FALSE(reread([&](Json& json) { json["lines"][0][key] = nullptr; })) << key;
    }
    EXPECT_FALSE(reread([](Json& json) { json["lines"][0]["direction"] = "both"; }));
    EXPECT_FALSE(reread([](Json& json) { json["id"] = "../../../../../../../../../home/file"; }));
    EXPECT_FALSE(reread([](Json& json) { json["lines"][0] = "text"; }));
    for (auto const* date : {"2026-03-01T12:00:00.5Z", "2026-02-30T12:00:00Z", "9999-01-01T00:00:00Z", "yesterday"})
        EXPECT_FALSE(reread([&](Json& json) { json["endedAt"] = date; })) << date;
    EXPECT_TRUE(reread([](Json& json) { json["unknown"] = {{"a", 1}}; }));
    auto const old = reread([](Json& json) { json["lines"][0]["source"] = "\x1B[2Ja\r\nb"; });
    EXPECT_EQ(old->lines.begin()->source, "[2Ja\nb") << "older archives hold control characters";
    EXPECT_EQ(reread([](Json& json) { json["id"] = "00000000-0000-4000-8000-00000000000a"; })->id, sampleId(10));
}

TEST_F(SessionStoreTest, whatIsNoSessionIsPassedOverAndLeftAlone)
{
    auto const good = *store.archive(sampleSession(1, {sampleLine(1, "a", "b")}));
    auto const text = readFile(good);
    writeFile(folder / "copy.JSON", text);
    writeFile(folder / "copy.json.bak", text);
    writeFile(folder / ".json", text);
    writeFile(folder / "torn.json", text.substr(0, text.size() / 2));
    writeFile(folder / "deep.json", std::string(200'000, '['));
    writeFile(folder / "list.json", "[]");
    writeFile(folder / "empty.json", "");
    fs::create_directory(folder / "folder.json");
    fs::create_symlink("nowhere", folder / "link.json");
    ASSERT_EQ(::mkfifo((folder / "pipe.json").c_str(), 0600), 0);
    EXPECT_EQ(store.sessions()->size(), 1U);
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 11);
}

TEST_F(SessionStoreTest, newestComeFirstAndEqualTimesKeepTheListingsOrder)
{
    for (int i = 0; i < 40; ++i) {
        auto session = sampleSession(i, {sampleLine(1, "a", "b")});
        session.startedAt += std::chrono::hours(i % 2);
        ASSERT_TRUE(store.archive(session));
    }
    std::vector<std::string> listed;
    for (int hour : {1, 0}) {
        for (auto const& file : fs::directory_iterator(folder)) {
            if (SessionStore::read(file.path())->startedAt == noon + std::chrono::hours(hour))
                listed.push_back(file.path().stem().string());
        }
    }
    EXPECT_EQ(found(""), listed);
    store.load();
    EXPECT_EQ(found(""), listed);
}

TEST_F(SessionStoreTest, loadingAgainSeesEveryChange)
{
    auto const path = *store.archive(sampleSession(1, {sampleLine(1, "before", "")}));
    ASSERT_TRUE(store.archive(sampleSession(2, {sampleLine(1, "other", "")})));
    int published = 0;
    auto const watch = store.sessions().observe([&](auto const&) { ++published; });
    auto const text = readFile(path);
    writeFile(path, std::string(text).replace(text.find("before"), 6, "change")); // the size is the same
    store.load();
    EXPECT_EQ(found("before").size(), 0U);
    EXPECT_EQ(found("change").size(), 1U);
    std::this_thread::sleep_for(std::chrono::milliseconds(2100)); // now files count as settled
    store.load();
    writeFile(path, text);
    store.load();
    EXPECT_EQ(found("before").size(), 1U);
    fs::remove(path);
    store.remove(sampleSession(1, {})); // its file has gone
    EXPECT_EQ(found(""), std::vector{sampleId(2)});
    writeFile(folder / (sampleId(2) + ".json.new"), "a crash left this");
    store.remove(store.sessions()->front());
    EXPECT_TRUE(store.sessions()->empty());
    EXPECT_TRUE(fs::is_empty(folder));
    EXPECT_EQ(published, 5);
}

TEST_F(SessionStoreTest, aCopiedFileIsTheSameSession)
{
    auto later = sampleSession(2, {sampleLine(1, "words", "")});
    later.startedAt += std::chrono::hours(1);
    ASSERT_TRUE(store.archive(later));
    auto const path = *store.archive(sampleSession(1, {sampleLine(1, "words", "")}));
    fs::copy(path, folder / "A copy.json");
    fs::copy(path, folder / "of it.json");
    EXPECT_EQ(found("words"), (std::vector{sampleId(2), sampleId(1)}));
    fs::remove(path);
    store.load();
    EXPECT_EQ(found("words"), (std::vector{sampleId(2), sampleId(1)}));
    store.remove(store.sessions()->back());
    store.load();
    EXPECT_EQ(found(""), std::vector{sampleId(2)}) << "what the user deletes does not come back as a copy";
}

TEST_F(SessionStoreTest, searchLooksAtTitlesAndBothTextsWhateverTheCase)
{
    ASSERT_TRUE(store.archive(
        sampleSession(1, {sampleLine(1, "Ngày mai gặp ở ĐÀ NẴNG", "See you"), sampleLine(2, "End", "Of")})));
    auto dated = sampleSession(2, {sampleLine(1, "Straße", "THE STREET")}, "");
    dated.startedAt -= std::chrono::hours(1);
    ASSERT_TRUE(store.archive(dated));
    using Ids = std::vector<std::string>;
    EXPECT_EQ(found("đà nẵng"), Ids{sampleId(1)});
    EXPECT_EQ(found("Đa\u0300 na\u0306\u0303NG"), Ids{sampleId(1)}) << "accents stored as marks of their own";
    EXPECT_EQ(found("da nang"), Ids()) << "accents count";
    EXPECT_EQ(found("STRASSE"), Ids{sampleId(2)});
    EXPECT_EQ(found("the street"), Ids{sampleId(2)});
    EXPECT_EQ(found("board"), Ids{sampleId(1)}) << "a profile's name is the title";
    EXPECT_EQ(found("mar 1, 2026, 11:00 am"), Ids{sampleId(2)}) << "else the date is";
    EXPECT_EQ(found("EndOf"), Ids()) << "not across texts";
    EXPECT_EQ(found(" end"), Ids()) << "the query is not trimmed";
    EXPECT_EQ(found("\xFF"), Ids()) << "what is no text is in no text";
    EXPECT_EQ(found(""), (Ids{sampleId(1), sampleId(2)}));
    ::setenv("LC_ALL", "tr_TR.UTF-8", 1);
    SessionStore turkish(folder);
    ASSERT_TRUE(turkish.archive(sampleSession(3, {sampleLine(1, "ILIK", "")})));
    EXPECT_EQ(turkish.search("ılık").size(), 1U);
    EXPECT_EQ(turkish.search("ilik").size(), 0U);
}

TEST_F(SessionStoreTest, searchIsExactWhileSessionsComeAndGo)
{
    auto const session = [](int number, std::string const& words) {
        return sampleSession(number, {sampleLine(1, words + std::to_string(number) + "!", "")});
    };
    for (int number = 100; number < 230; ++number)
        ASSERT_TRUE(store.archive(session(number, "old")));
    store.load();
    for (int number = 100; number < 230; number += 3) {
        store.remove(session(number, "old"));
        ASSERT_TRUE(store.archive(session(number, "new")));
    }
    for (int number = 100; number < 230; ++number) {
        bool const old = (number - 100) % 3 != 0;
        EXPECT_EQ(found("old" + std::to_string(number)).size(), old ? 1U : 0U) << number;
        EXPECT_EQ(found("new" + std::to_string(number)).size(), old ? 0U : 1U) << number;
    }
    EXPECT_EQ(found("d1").size(), 66U) << "shorter than what is told apart";
}

TEST_F(SessionStoreTest, titlesFollowTheUsersLocale)
{
    EXPECT_EQ(sampleSession(1, {}).title(), "Board");
    EXPECT_EQ(sampleSession(1, {}, "").title(), "Mar 1, 2026, 12:00 PM");
    ::setenv("LC_ALL", "vi_VN.UTF-8", 1);
    EXPECT_EQ(sampleSession(1, {}, "").title(), "12:00 1 thg 3, 2026");
}

TEST_F(SessionStoreTest, aFolderThatCannotBeUsedIsAnErrorOfTheWriteAlone)
{
    writeFile(scratch / "file", "");
    SessionStore blocked(scratch / "file/Sessions");
    EXPECT_TRUE(blocked.sessions()->empty());
    auto const failed = blocked.archive(sampleSession(1, {}));
    ASSERT_FALSE(failed);
    EXPECT_NE(failed.error().message.find("cannot be written: Not a directory"), std::string::npos);
    blocked.remove(sampleSession(1, {}));
    SessionStore full("/dev/full");
    EXPECT_FALSE(full.archive(sampleSession(1, {})));
    EXPECT_TRUE(full.search("a").empty());
}

TEST(SessionFolder, followsTheUsersEnvironment)
{
    ::setenv("HOME", "/home/someone", 1);
    ::setenv("XDG_DATA_HOME", "/data", 1);
    EXPECT_EQ(SessionStore::defaultFolder(), "/data/LingrelayPro/Sessions");
    ::setenv("XDG_DATA_HOME", "relative", 1); // to be ignored, as the convention says
    EXPECT_EQ(SessionStore::defaultFolder(), "/home/someone/.local/share/LingrelayPro/Sessions");
    ::unsetenv("XDG_DATA_HOME");
    EXPECT_EQ(SessionStore::defaultFolder(), "/home/someone/.local/share/LingrelayPro/Sessions");
}

} // namespace

} // namespace lingrelay
