#include "base/Registry.h"
#include "cli/terminal/OutputQueue.h"
#include "cli/terminal/Presenter.h"
#include "platform/sim/SimDefaults.h"
#include "program/Secrecy.h"

#include <csignal>
#include <thread>

#include <fcntl.h>
#include <unistd.h>

using namespace lingrelay;

namespace {

class Pipe {
public:
    Pipe()
    {
        std::signal(SIGPIPE, SIG_IGN);
        EXPECT_EQ(::pipe(m_ends), 0);
    }
    ~Pipe()
    {
        closeReader();
        closeWriter();
    }
    int writer() const { return m_ends[1]; }
    void closeReader() { shut(m_ends[0]); }
    void closeWriter() { shut(m_ends[1]); }
    std::string readAll()
    {
        closeWriter();
        std::string text;
        char buffer[4096];
        for (ssize_t count = 0; (count = ::read(m_ends[0], buffer, sizeof buffer)) > 0;)
            text.append(buffer, static_cast<std::size_t>(count));
        return text;
    }

private:
    static void shut(int& end)
    {
        if (end >= 0)
            ::close(std::exchange(end, -1));
    }
    int m_ends[2];
};

TEST(OutputQueueTest, aReaderThatIsSlowOrGoneHoldsUpNobody)
{
    Pipe slow;
    Pipe gone;
    gone.closeReader();
    for (auto* pipe : {&slow, &gone}) {
        OutputQueue output(pipe->writer());
        for (int i = 0; i < 100; ++i)
            output.write(std::string(10000, 'x')); // far more than a pipe holds
        output.flush(seconds(0.05));
    } // ends although the reader never read
    EXPECT_LT(slow.readAll().size(), 1000000U);
}

TEST(PlainPresenterTest, showsFinishedClausesAndSendsWarningsElsewhere)
{
    Pipe out;
    Pipe err;
    {
        OutputQueue output(out.writer());
        OutputQueue notices(err.writer());
        PlainPresenter plain(output, notices);
        plain.caption(CaptionKind::original, "unfinished");
        plain.status(AppModel::StatusKind::live, "● ready");
        plain.status(AppModel::StatusKind::error, "⚠ no\x1b[2J");
        plain.status(AppModel::StatusKind::error, "⚠ no\x1b[2J");
        plain.notice("⚠ no sound"); // the panel's words come before the same status
        plain.status(AppModel::StatusKind::warning, "no sound");
        plain.line({"id", {}, AppModel::Direction::listen, "Hello.", "Hola.", "1"});
        output.flush(seconds(5.0));
        notices.flush(seconds(5.0));
    }
    EXPECT_EQ(out.readAll(), "Speaker 1: Hello.\n  → Hola.\n");
    EXPECT_EQ(err.readAll(), "⚠ no [2J\n⚠ no sound\n");
}

TEST(SecrecyTest, keysNeverShowButShortOnesDoNotEatWords)
{
    Secrecy secrecy;
    secrecy.add("session-key");
    secrecy.add("my-own-key");
    EXPECT_EQ(secrecy.clean("Bad key my-own-key, session-keysession-key!"), "Bad key •••, ••••••!");
    secrecy.add("my-own-key-whole"); // the one before was typed so far
    EXPECT_EQ(secrecy.clean("my-own-key-whole, my-own-key"), "•••, •••");
    secrecy.add("day");
    EXPECT_EQ(secrecy.clean("Good day."), "Good day.");
}

} // namespace
