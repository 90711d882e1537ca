#include "sessions/Journal.h"

#include "platform/sim/VirtualTime.h"
#include "tests/sessions/Samples.h"
#include "tests/support/TemporaryFolder.h"

#include <gtest/gtest.h>

#include <csignal>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay {

namespace {

namespace fs = std::filesystem;
using Session = SessionStore::Session;

class JournalTest : public testing::Test {
protected:
    std::unique_ptr<Journal> begin(Session const& session)
    {
        auto journal = Journal::begin(store, session, main, background);
        EXPECT_TRUE(journal);
        return journal ? std::move(*journal) : nullptr;
    }
    fs::path file(int number = 1) const { return Journal::folder(store) / (sampleId(number) + ".jsonl"); }
    std::vector<fs::path> recover() { return Journal::recover(store); }
    /// The only session that recovery makes of what is left over.
    std::optional<Session> recovered()
    {
        auto const paths = recover();
        EXPECT_EQ(paths.size(), 1U);
        return paths.empty() ? std::nullopt : SessionStore::read(paths[0]);
    }
    static std::vector<std::string> sources(Session const& session)
    {
        std::vector<std::string> texts;
        for (auto const& line : session.lines)
            texts.push_back(line.source);
        return texts;
    }

    TemporaryFolder scratch;
    SessionStore store{scratch.path()};
    VirtualTime time;
    VirtualScheduler main{time};
    VirtualScheduler background{time};
};

using Texts = std::vector<std::string>;

TEST_F(JournalTest, aLeftOverJournalBecomesTheSessionOnce)
{
    auto const early = sampleLine(1, "before the start", "");
    auto const last = sampleLine(95, "\"last\"\n", "👋");
    auto journal = begin(sampleSession(1, {early}));
    EXPECT_FALSE(journal->append(last));
    EXPECT_EQ(static_cast<unsigned>(fs::status(file()).permissions()), 0600U);
    EXPECT_EQ(static_cast<unsigned>(fs::status(Journal::folder(store)).permissions()), 0700U);
    journal.reset();
    auto expected = sampleSession(1, {early, last});
    expected.endedAt = last.at;
    ASSERT_EQ(Journal::recover(store, &background).size(), 1U);
    EXPECT_TRUE(fs::exists(file())) << "until the disk has the session, which nobody waits for";
    time.advance(Duration::zero());
    EXPECT_FALSE(fs::exists(file()));
    EXPECT_TRUE(recover().empty());
    EXPECT_EQ(*store.sessions(), std::vector{expected});
}

TEST_F(JournalTest, theArchivesSuccessEndsItAndSoDoesSilence)
{
    auto journal = begin(sampleSession(1, {}));
    journal->append(sampleLine(1, "a", "b"));
    time.advance(seconds(0.5));
    journal->discard();
    EXPECT_FALSE(fs::exists(file()));
    EXPECT_FALSE(journal->append(sampleLine(2, "late", ""))) << "a late line is no error";
    EXPECT_FALSE(fs::exists(file()));
    begin(sampleSession(2, {})).reset(); // nothing was said
    EXPECT_TRUE(recover().empty());
    EXPECT_FALSE(fs::exists(file(2)));
    // Removed once the archive is on the disk, or the user has deleted it.
    auto ended = begin(sampleSession(4, {sampleLine(1, "words", "")}));
    ended->discardFor(*store.archive(sampleSession(4, {sampleLine(1, "words", "")})));
    auto deleted = begin(sampleSession(5, {sampleLine(1, "words", "")}));
    deleted->discardFor(store.path(sampleId(5)));
    EXPECT_TRUE(fs::exists(file(4))) << "the disk has not been asked yet";
    time.advance(seconds(0.1));
    EXPECT_FALSE(fs::exists(file(4)));
    EXPECT_FALSE(fs::exists(file(5)));
    store.remove(store.sessions()->at(0));
    // Killed between the archive's write and the journal's end: the archive counts.
    begin(sampleSession(3, {sampleLine(1, "journal", "")})).reset();
    ASSERT_TRUE(store.archive(sampleSession(3, {sampleLine(1, "archive", "")})));
    EXPECT_TRUE(recover().empty());
    EXPECT_FALSE(fs::exists(file(3)));
    EXPECT_EQ(sources(store.sessions()->front()), Texts{"archive"});
    journal.reset();
    time.advance(seconds(10));
    EXPECT_TRUE(time.idle());
}

TEST_F(JournalTest, aKilledProgramsLinesAreKeptAndALivingOnesLeftAlone)
{
    int ready[2];
    ASSERT_EQ(::pipe(ready), 0);
    auto const child = ::fork();
    if (child == 0) {
        auto const journal = Journal::begin(store, sampleSession(1, {}), main, background);
        for (int i = 1; i <= 500; ++i)
            (*journal)->append(sampleLine(i, std::to_string(i), ""));
        [[maybe_unused]] auto const written = ::write(ready[1], "", 1);
        for (;;)
            ::pause();
    }
    char signal = 0;
    ASSERT_EQ(::read(ready[0], &signal, 1), 1);
    EXPECT_TRUE(recover().empty()) << "its program is running";
    EXPECT_TRUE(fs::exists(file()));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    auto const session = recovered();
    ASSERT_TRUE(session);
    EXPECT_EQ(session->lines.size(), 500U);
    EXPECT_EQ(session->lines[499].source, "500");
    ::close(ready[0]);
    ::close(ready[1]);
}

TEST_F(JournalTest, damagedRecordsArePassedOver)
{
    auto journal = begin(sampleSession(1, {}));
    for (int i = 1; i <= 3; ++i)
        journal->append(sampleLine(i, std::to_string(i), ""));
    journal.reset();
    auto const whole = readFile(file());
    auto const second = whole.find("\"2\"");
    for (std::size_t cut = whole.rfind('\n', whole.size() - 2) + 1; cut < whole.size() - 1; cut += 7) {
        writeFile(file(), whole.substr(0, cut)); // a torn end
        auto const session = recovered();
        ASSERT_TRUE(session);
        EXPECT_EQ(sources(*session), (Texts{"1", "2"})) << cut;
        store.remove(*session);
    }
    auto damaged = whole;
    std::fill_n(damaged.begin() + static_cast<std::ptrdiff_t>(second), 20, '\0');
    writeFile(file(), "\n[]\n" + damaged + "rubbish");
    EXPECT_EQ(sources(recovered().value()), (Texts{"1", "3"}));
    store.remove(store.sessions()->front());
    writeFile(file(), whole.substr(30)); // the head is torn: what was said still counts
    auto const headless = recovered();
    ASSERT_TRUE(headless);
    EXPECT_EQ(headless->id, sampleId(1));
    EXPECT_EQ(headless->startedAt, sampleLine(1, "", "").at);
    EXPECT_EQ(sources(*headless), (Texts{"1", "2", "3"}));
}

TEST_F(JournalTest, itFollowsTheSessionsChanges)
{
    auto journal = begin(sampleSession(1, {sampleLine(1, "old", "")}));
    journal->clear();
    for (int i = 0; i < 2003; ++i)
        journal->append(sampleLine(i, std::to_string(i), ""));
    auto changed = sampleSession(1, {});
    changed.targetLang = "ja";
    journal->describe(changed);
    journal.reset();
    auto const session = recovered();
    ASSERT_TRUE(session);
    EXPECT_EQ(session->targetLang, "ja");
    EXPECT_EQ(session->lines.size(), 2000U) << "as many as the transcript keeps";
    EXPECT_EQ(session->lines[0].source, "3");
}

TEST_F(JournalTest, aClockThatWentBackEndsNoSessionBeforeItsStart)
{
    auto early = sampleLine(1, "a", "");
    early.at -= std::chrono::hours(5);
    begin(sampleSession(1, {early})).reset();
    EXPECT_EQ(recovered()->endedAt, noon);
}

TEST_F(JournalTest, whatDidNotFitIsWrittenWhenThereIsSpaceAgain)
{
    auto journal = begin(sampleSession(1, {}));
    journal->append(sampleLine(1, "1", ""));
    rlimit before{};
    ::getrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit full = before;
    full.rlim_cur = fs::file_size(file()) + 40; // the next record is torn by it
    ::setrlimit(RLIMIT_FSIZE, &full);
    auto const error = journal->append(sampleLine(2, "2", ""));
    EXPECT_TRUE(journal->append(sampleLine(3, "3", "")));
    auto const refused = store.archive(sampleSession(9, {sampleLine(1, std::string(2000, 'a'), "")}));
    ::setrlimit(RLIMIT_FSIZE, &before);
    ASSERT_TRUE(error);
    EXPECT_NE(error->message.find("cannot be written"), std::string::npos);
    EXPECT_FALSE(refused);
    EXPECT_TRUE(store.sessions()->empty()) << "no half a session stays";
    EXPECT_FALSE(journal->append(sampleLine(4, "4", "")));
    journal.reset();
    EXPECT_EQ(sources(recovered().value()), (Texts{"1", "2", "3", "4"}));
}

TEST_F(JournalTest, withoutAPlaceItSaysSoAndKeepsWhatCannotBeArchived)
{
    writeFile(scratch / "file", "");
    SessionStore const blocked(scratch / "file/Sessions");
    auto const journal = Journal::begin(blocked, sampleSession(1, {}), main, background);
    ASSERT_FALSE(journal);
    EXPECT_NE(journal.error().message.find("Not a directory"), std::string::npos);

    begin(sampleSession(1, {sampleLine(1, "kept", "")})).reset();
    fs::create_directory(store.path(sampleId(1))); // in the session's place
    EXPECT_TRUE(recover().empty());
    EXPECT_TRUE(fs::exists(file()));
    fs::remove(store.path(sampleId(1)));
    EXPECT_EQ(sources(recovered().value()), Texts{"kept"});
}

TEST_F(JournalTest, theDiskIsAskedAtMostOnceASecond)
{
    auto journal = begin(sampleSession(1, {}));
    for (int i = 0; i < 50; ++i) {
        journal->append(sampleLine(i, "a", "b"));
        time.advance(seconds(0.01));
    }
    EXPECT_EQ(time.timerCount(), 1U);
    time.advance(seconds(2));
    EXPECT_TRUE(time.idle()) << "a silent session costs nothing";
}

} // namespace

} // namespace lingrelay
