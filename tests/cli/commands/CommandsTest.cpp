#include "base/Json.h"
#include "cli/commands/SessionsCommand.h"
#include "cli/commands/SettingsCommand.h"
#include "sessions/SessionStore.h"
#include "tests/platform/LoopbackServer.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>

#include <sys/stat.h>

using namespace lingrelay;
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

namespace {

constexpr Date noon = std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + std::chrono::hours(12);

/// The commands in this process, on folders of the case's own.
class CommandsTest : public testing::Test {
protected:
    CommandsTest()
    {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
        ::setenv("LC_ALL", "en_US.UTF-8", 1);
    }
    ~CommandsTest() override { ::unsetenv("LC_ALL"); }

    /// Runs the command line; the exit code. What it printed is in `output` and `errors`.
    int run(Words words)
    {
        words.insert(words.begin(), {"--defaults", folder / "defaults.json"});
        if (std::find(words.begin(), words.end(), "sessions") != words.end())
            words.insert(words.begin(), {"--sessions", folder / "sessions"});
        testing::internal::CaptureStdout();
        testing::internal::CaptureStderr();
        auto const arguments = Arguments::parse(words);
        int code = 2;
        if (arguments)
            code = arguments->action == Arguments::Action::sessions ? sessionsCommand(*arguments)
                                                                    : settingsCommand(*arguments);
        output = testing::internal::GetCapturedStdout();
        errors = testing::internal::GetCapturedStderr();
        if (!arguments)
            errors = arguments.error().message + '\n';
        return code;
    }
    void archive(std::string const& id, int hour, std::string const& source, std::string const& translation)
    {
        AppModel::Line const line{"00000000-0000-4000-8000-000000000001", noon + std::chrono::hours(hour),
            AppModel::Direction::listen, source, translation, "1"};
        auto const start = noon + std::chrono::hours(hour);
        ASSERT_TRUE(SessionStore(folder / "sessions")
                        .archive({id, start, start + std::chrono::seconds(3725), "listen", "en", "es", "", {line}}));
    }
    /// A failure is one line on standard error, and nothing else.
    void expectComplaint(Words const& words, int code, std::string const& part)
    {
        EXPECT_EQ(run(words), code) << part;
        EXPECT_EQ(output, "");
        EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
        EXPECT_NE(errors.find(part), std::string::npos) << errors;
    }
    TemporaryFolder folder;
    std::string output;
    std::string errors;
    std::string const first = "AAAAAAAA-0000-4000-8000-000000000001";
    std::string const second = "AABBBBBB-0000-4000-8000-000000000002";
};

TEST_F(CommandsTest, sessionsAreListedFoundAndShown)
{
    EXPECT_EQ(run({"sessions", "list", "--json"}), 0);
    EXPECT_EQ(*parseJson(output), Json::array());
    archive(first, 0, "Good morning.", "Buenos días.");
    archive(second, 1, "Good night.", "Buenas noches.");
    EXPECT_EQ(run({"sessions", "list"}), 0);
    EXPECT_EQ(output.substr(0, 8), "AABBBBBB");
    EXPECT_NE(
        output.find("\nAAAAAAAA  Mar 1, 2026, 12:00 PM       62:05     1 line   English → Spanish"), std::string::npos)
        << output;
    EXPECT_EQ(run({"sessions", "search", "DÍAS", "--json"}), 0);
    auto const found = *parseJson(output);
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]["id"], first);
    EXPECT_EQ(found[0]["lines"], 1);
    EXPECT_TRUE(fs::exists(found[0]["path"].get<std::string>()));
    for (auto const* id : {"aaa", "AAAAAAAA-0000-4000-8000-000000000001"}) {
        EXPECT_EQ(run({"sessions", "show", id}), 0);
        EXPECT_NE(output.find("[12:00:00] THEM\n  Good morning.\n  → Buenos días.\n"), std::string::npos);
    }
    EXPECT_EQ(run({"sessions", "search", "nowhere"}), 0);
    EXPECT_EQ(output + errors, "lingrelay-cli: no session holds \"nowhere\"\n");
    EXPECT_EQ(run({"sessions", "show", "last"}), 0);
    EXPECT_NE(output.find("Good night."), std::string::npos);
    expectComplaint({"sessions", "show", "aa"}, 2, "more than one session begins with \"aa\"");
    expectComplaint({"sessions", "show", "x"}, 2, "there is no session \"x\"");
    expectComplaint({"sessions", "show", ""}, 2, "there is no session \"\"");
}

TEST_F(CommandsTest, aSessionLeavesInTheFormThatIsAskedFor)
{
    archive(first, 0, "Good morning.", "Buenos días.");
    EXPECT_EQ(run({"sessions", "export", "last"}), 0);
    EXPECT_EQ(output, "[12:00:00] THEM\n  Good morning.\n  → Buenos días.\n");
    EXPECT_EQ(run({"sessions", "export", "last", "--output", folder / "a.SRT"}), 0);
    EXPECT_EQ(output, "");
    EXPECT_EQ(readFile(folder / "a.SRT"), "1\n00:00:00,000 --> 00:00:03,000\nBuenos días.\n");
    EXPECT_EQ(run({"sessions", "export", "last", "--output", folder / "b.srt", "--format", "json"}), 0);
    EXPECT_EQ(readFile(folder / "b.srt"), readFile(folder / ("sessions/" + first + ".json")));
    expectComplaint({"sessions", "export", "last", "--output", folder / "none/a.srt"}, 2, "cannot be written");
    expectComplaint({"sessions", "export", "last", "--output", "/dev/full"}, 1, "cannot be written");
    expectComplaint({"sessions", "export", "last", "--format", "doc"}, 2, "txt, srt, vtt or json");
}

TEST_F(CommandsTest, aSessionIsDeletedForGood)
{
    archive(first, 0, "a", "b");
    archive(second, 1, "a", "b");
    EXPECT_EQ(run({"sessions", "delete", "last"}), 0);
    EXPECT_FALSE(fs::exists(folder / ("sessions/" + second + ".json")));
    fs::rename(folder / ("sessions/" + first + ".json"), folder / "sessions/other.json");
    fs::permissions(folder / "sessions", fs::perms::owner_read | fs::perms::owner_exec);
    if (::geteuid() != 0) // whom nothing stops
        expectComplaint({"sessions", "delete", "last"}, 1, "cannot be removed");
    fs::permissions(folder / "sessions", fs::perms::owner_all);
    EXPECT_EQ(run({"sessions", "delete", "last"}), 0) << "whatever its file is called";
    EXPECT_TRUE(fs::is_empty(folder / "sessions"));
}

TEST_F(CommandsTest, wordsThatMakeNoSenseAreRefused)
{
    expectComplaint({"sessions"}, 2, "list, show, search");
    expectComplaint({"sessions", "frobnicate"}, 2, "list, show, search");
    expectComplaint({"sessions", "show"}, 2, "usage: sessions show ID");
    expectComplaint({"sessions", "list", "more"}, 2, "usage: sessions list");
    expectComplaint({"sessions", "list", "--pace", "fast"}, 2, "no option --pace");
    expectComplaint({"sessions", "list", "--json=yes"}, 2, "takes no value");
    expectComplaint({"settings", "--json"}, 2, "no option --json");
}

TEST_F(CommandsTest, aSummaryComesFromTheBackendInTheTargetLanguage)
{
    archive(first, 0, "Good morning.", "Buenos días.");
    LoopbackServer server({});
    std::mutex mutex; // the server answers on a thread of its own
    Json asked;
    int status = 200;
    server.answerHttp([&](TestServer::HttpSeen const& seen) -> TestServer::HttpAnswer {
        std::lock_guard const lock(mutex);
        asked = *parseJson(seen.body);
        asked["at"] = seen.target;
        return {{status, {}, status == 200 ? R"({"summary":"They met."})" : R"({"error":"Out of words"})"}};
    });
    auto const backend = server.url("http", "");
    EXPECT_EQ(run({"sessions", "summarize", "last", "--backend-url", backend, "--set", "targetLang=ja"}), 0) << errors;
    EXPECT_EQ(output, "They met.\n");
    std::unique_lock lock(mutex);
    EXPECT_EQ(asked,
        Json({{"at", "/v1/summary"}, {"text", "THEM: Good morning. → Buenos días."}, {"target", "ja"},
            {"style", "full"}}));
    status = 429;
    lock.unlock();
    expectComplaint({"sessions", "summarize", "last", "--backend-url", backend}, 1, "Out of words");
    expectComplaint({"sessions", "summarize", "last", "--backend-url", "http://127.0.0.1:1"}, 1, "connect");
    expectComplaint({"sessions", "summarize", "last", "--set", "targetLang=auto"}, 2, "targetLang");
}

TEST_F(CommandsTest, settingsAreListedShownAndStored)
{
    EXPECT_EQ(run({"settings", "voiceSpeed"}), 0);
    EXPECT_EQ(output, "1.15\n");
    EXPECT_EQ(run({"settings", "endpointSensitivity", "-0.5"}), 0) << errors;
    EXPECT_EQ(run({"settings", "mode", "both"}), 0);
    EXPECT_EQ(run({"settings"}), 0);
    EXPECT_NE(output.find("\nendpointSensitivity=-0.5\n"), std::string::npos);
    EXPECT_NE(output.find("\nmode=both\n"), std::string::npos);
    EXPECT_EQ(*parseJson(readFile(folder / "defaults.json")), Json({{"endpointSensitivity", -0.5}, {"mode", "both"}}));
    expectComplaint({"settings", "mode", "sideways"}, 2, "mode: the value must be listen, speak or both");
    expectComplaint({"settings", "unknown"}, 2, "no setting \"unknown\"");
    expectComplaint({"settings", "unknown", "1"}, 2, "no setting \"unknown\"");
    expectComplaint({"settings", "a", "b", "c"}, 2, "one too many");
    expectComplaint({"settings", "voiceSpeed", "2", "--defaults", "/proc/defaults.json"}, 1, "cannot be written");
}

TEST_F(CommandsTest, theUsersKeyIsNeverShown)
{
    EXPECT_EQ(run({"settings", "k.soniox"}), 0);
    EXPECT_EQ(output, "\n");
    EXPECT_EQ(run({"settings", "k.soniox", "abcdefghij"}), 0);
    EXPECT_EQ(output + errors, "");
    for (auto const& words : {Words{"settings", "k.soniox"}, Words{"settings"}}) {
        EXPECT_EQ(run(words), 0);
        EXPECT_NE(output.find("•••\n"), std::string::npos);
        EXPECT_EQ(output.find("abc"), std::string::npos);
    }
    struct stat status { };
    ASSERT_EQ(::stat((folder / "defaults.json").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0600U);
}

} // namespace
