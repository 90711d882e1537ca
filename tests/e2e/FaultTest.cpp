// What befalls a conversation from outside, on the programs themselves. No finished line may be lost, nobody waits for
// more than half a minute, and the user is told.

#include "tests/e2e/ScriptedService.h"
#include "tests/platform/LoopbackServer.h"

#include <cstdlib>
#include <thread>

using namespace lingrelay;

namespace {

constexpr double patience = 30; ///< seconds; longer is a hang

class FaultTest : public testing::Test, protected ScriptedService {
protected:
    using Weather = FaultyProxy::Weather;

    /// The command, for a recording of silence of that length.
    Words command(double length, Words const& options = {}) const
    {
        auto const input = folder / fmt::format("{}s.wav", length);
        if (!std::filesystem::exists(input)) // another program may be reading it
            writeSound(input, std::vector<float>(static_cast<std::size_t>(16000 * length)));
        Words words{LINGRELAY_CLI, "translate", input, "--from", "en", "--to", "es", "--events", "json"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    /// The program, with a network between it and its service.
    struct Far : ScriptedService {
        explicit Far(Json const& content)
        {
            script(content);
            m_service = startElsewhere();
            network = std::make_unique<FaultyProxy>(m_service->port);
            service(fmt::format("echo 'listening 127.0.0.1:{} {}'; exec sleep 600", network->port(), m_service->token));
        }

        std::unique_ptr<FaultyProxy> network;

    private:
        std::unique_ptr<LocalService> m_service;
    };

    /// A connection that gives one clause, and after it is lost another one, which is the last.
    static Json twoConnections()
    {
        return {{"stt",
            {steps({clauseAt(500, "One.", "Uno."), {{"after_audio_ms", 600000}}}),
                steps({clauseAt(500, "Two.", "Dos."), finished})}}};
    }
    /// A clause each 300 ms: of the sound that arrives, or of time, whatever arrives.
    static Json manyClauses(int count, char const* trigger = "after_audio_ms")
    {
        Json list = Json::array();
        for (int i = 1; i <= count; ++i) {
            auto step = clause(fmt::format("Number {}.", i), fmt::format("Número {}.", i));
            step[trigger] = 300 * i;
            list.push_back(std::move(step));
        }
        list.push_back(finished);
        return {{"stt", {steps(list)}}};
    }
    static Words lines(Program const& program)
    {
        Words texts;
        for (auto const& line : only(program.events(), "line"))
            texts.push_back(line["translation"]);
        return texts;
    }
    static Words numbers(int count)
    {
        Words texts;
        for (int i = 1; i <= count; ++i)
            texts.push_back(fmt::format("Número {}.", i));
        return texts;
    }
    static bool told(Program const& program, std::string const& part)
    {
        for (auto const& status : only(program.events(), "status")) {
            if (jsonString(status, "text").value_or("").find(part) != std::string::npos)
                return true;
        }
        return program.errors().find(part) != std::string::npos;
    }
    /// What stands in the archive afterwards.
    static Words keptLines(Program const& program)
    {
        Words texts;
        auto const sessions = only(program.events(), "session");
        EXPECT_EQ(sessions.size(), 1U);
        for (auto const& event : sessions) {
            auto const session = *parseJson(readFile(*jsonString(event, "path")));
            for (auto const& line : session["lines"])
                texts.push_back(line["translation"]);
        }
        return texts;
    }
    /// With the line of the second connection.
    static void goesOnToItsEnd(Program const& program)
    {
        EXPECT_TRUE(eventually([&] { return lines(program).size() == 2; }, patience)) << program.output();
        program.signal(SIGINT);
        EXPECT_EQ(program.wait(), 0) << program.errors();
        EXPECT_EQ(keptLines(program), (Words{"Uno.", "Dos."}));
    }
};

TEST_F(FaultTest, aNetworkThatIsCutOrDarkIsLeftAndTakenUpAgain)
{
    for (auto const& [weather, length] : {std::pair(Weather::cut, 2), {Weather::dark, 20}}) {
        Far far(twoConnections());
        Program program(command(60), far.environment());
        ASSERT_TRUE(program.waitForEvent("line"));
        far.network->set(weather);
        auto const end = Clock::now() + std::chrono::seconds(length);
        EXPECT_TRUE(eventually([&] { return told(program, "reconnecting"); }, 20));
        std::this_thread::sleep_until(end);
        far.network->set(Weather::fair);
        goesOnToItsEnd(program);
    }
}

TEST_F(FaultTest, aNetworkThatIsRoughOrSlowChangesNeitherWordsNorTheirOrder)
{
    Far rough(manyClauses(20, "at_ms"));
    Far slow(manyClauses(20, "at_ms"));
    rough.network->set(Weather::rough);
    slow.network->set(Weather::slow);
    std::vector<std::unique_ptr<Program>> programs;
    for (auto const* far : {&rough, &slow})
        programs.push_back(
            std::make_unique<Program>(command(6.5, {"--output", far->folder / "voice.wav"}), far->environment()));
    for (auto const& program : programs) {
        EXPECT_EQ(program->wait(60), 0) << program->errors();
        EXPECT_EQ(lines(*program), numbers(20)) << program->errors();
        EXPECT_EQ(keptLines(*program), numbers(20));
    }
    EXPECT_GT(rough.heard(), 6.4) << "seconds of sound arrived";
    EXPECT_LT(slow.heard(), 5.5) << "what waits for more than two seconds is left out";
}

TEST_F(FaultTest, whatStallsAtAnyStepIsGivenUp)
{
    struct Case {
        char const* name;
        Json content;
        int status;
        Words expected;
    };
    auto const one = clauseAt(500, "One.", "Uno.");
    Json const stall{{"stall_ms", 600000}};
    std::vector<Case> const cases{
        {"session", {{"http", {{"start", {{{"silence", true}}}}}}}, 1, {}},
        {"handshake", {{"stt", {{{"accept", {{"delay_ms", 600000}}}}, steps({one, finished})}}}, 0, {"Uno."}},
        {"answer", {{"stt", {steps({one, stall}), steps({finished})}}}, 0, {"Uno."}},
        {"end", {{"stt", {steps({one})}}}, 0, {"Uno."}},
        {"voice", {{"stt", {steps({one, finished})}}, {"tts", {steps({stall})}}}, 0, {"Uno."}},
        {"report", {{"stt", {steps({one, finished})}}, {"http", {{"end", {{{"silence", true}}}}}}}, 0, {"Uno."}},
    };
    struct Run : ScriptedService {
        std::unique_ptr<Program> program;
    };
    std::vector<std::unique_ptr<Run>> runs;
    for (auto const& each : cases) {
        auto run = std::make_unique<Run>();
        run->script(each.content);
        run->program = std::make_unique<Program>(
            command(2, {"--pace", "fast", "--output", run->folder / "voice.wav"}), run->environment());
        runs.push_back(std::move(run));
    }
    for (std::size_t i = 0; i < cases.size(); ++i) {
        SCOPED_TRACE(cases[i].name);
        auto const& program = *runs[i]->program;
        EXPECT_EQ(runs[i]->program->wait(45), cases[i].status) << program.errors() << program.output();
        EXPECT_EQ(lines(program), cases[i].expected);
        auto const events = program.events();
        ASSERT_FALSE(events.empty());
        EXPECT_LT(events.back()["t"], patience) << program.output();
        RecordProperty(cases[i].name, fmt::format("{:.1f}", events.back()["t"].get<double>()));
    }
}

TEST_F(FaultTest, aCertificateThatIsNotInOrderIsRefusedInWords)
{
    auto const expired = TestCertificate::make("DNS:localhost", -60);
    writeFile(folder / "trusted.pem", expired.certificate);
    LoopbackServer server(expired);
    auto const url = fmt::format("wss://localhost:{}/", server.port());
    Program program(command(60, {"--set", "k.soniox=a-key-of-mine", "--stt-url", url}),
        environment({"SSL_CERT_FILE=" + folder / "trusted.pem"}));
    EXPECT_EQ(program.wait(), 1);
    EXPECT_TRUE(told(program, "expired")) << program.output() << program.errors();
    EXPECT_TRUE(server.seen().empty()) << "no key goes out";
}

TEST_F(FaultTest, withoutAnyNetworkThatIsSaid)
{
    auto words = command(60, {"--set", "k.soniox=a-key-of-mine", "--stt-url", "wss://speech.example/"});
    if (Program probe({"/usr/bin/unshare", "-rn", "true"}, {}); probe.wait(5) != 0)
        GTEST_SKIP() << "no network namespaces here";
    words.insert(words.begin(), {"/usr/bin/unshare", "-rn"});
    Program program(words, environment());
    EXPECT_EQ(program.wait(patience), 1);
    EXPECT_TRUE(told(program, "speech.example")) << program.output() << program.errors();
}

TEST_F(FaultTest, aFullDiskCostsTheCopyOnItAndNothingElse)
{
    std::string const mount = "mount -t tmpfs -o size=16k none '" + folder / "data" + "'";
    std::filesystem::create_directories(folder / "data");
    if (Program probe({"/usr/bin/unshare", "-rm", "sh", "-c", mount}, {}); probe.wait(5) != 0)
        GTEST_SKIP() << "no mount namespaces here";
    script(manyClauses(5));
    auto const fill = "head -c 20000 /dev/zero >'" + folder / "data/filler" + "' 2>/dev/null";
    Words words{"/usr/bin/unshare", "-rm", "sh", "-c", mount + "; " + fill + "; exec \"$0\" \"$@\""};
    auto const rest = command(2, {"--pace", "fast", "--transcript", folder / "t.txt"});
    words.insert(words.end(), rest.begin(), rest.end());
    Program program(words, environment());
    program.wait(patience);
    EXPECT_EQ(lines(program), numbers(5)) << program.errors();
    EXPECT_NE(readFile(folder / "t.txt").find("Número 5."), std::string::npos);
    EXPECT_NE(program.errors().find("No space left"), std::string::npos) << program.errors();
}

TEST_F(FaultTest, aClockThatJumpsDisturbsNothing)
{
#ifdef LINGRELAY_SANITIZED
    GTEST_SKIP() << "a preloaded library and a sanitizer do not go together";
#endif
    for (int const jump : {3600, -3600}) {
        script(manyClauses(10));
        Program program(command(3.2),
            environment({"LD_PRELOAD=" LINGRELAY_SHIFTCLOCK, "CLOCK_AFTER=1.5", fmt::format("CLOCK_JUMP={}", jump)}));
        EXPECT_EQ(program.wait(patience), 0) << program.errors();
        EXPECT_EQ(lines(program), numbers(10)) << jump;
        EXPECT_EQ(keptLines(program), numbers(10)) << jump;
        EXPECT_LT(program.events().back()["t"], 15) << jump;
    }
}

/// LINGRELAY_STOP_SECONDS: how long a program is stopped.
double stopSeconds()
{
    char const* const chosen = std::getenv("LINGRELAY_STOP_SECONDS");
    return chosen ? std::atof(chosen) : 14; // longer than a connection may be silent
}

TEST_F(FaultTest, aProgramThatWasStoppedGoesOnAndReadsWhatCameMeanwhile)
{
    auto const pause = stopSeconds();
    // The last lines come when the program runs again.
    auto const count = static_cast<int>(pause / 0.3) + 20;
    Far far(manyClauses(count, "at_ms"));
    Program program(command(pause + 60), far.environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    program.signal(SIGSTOP);
    std::this_thread::sleep_for(seconds(pause));
    program.signal(SIGCONT);
    EXPECT_TRUE(eventually([&] { return lines(program).size() >= numbers(count).size(); }, patience));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0) << program.errors();
    EXPECT_EQ(lines(program), numbers(count)) << program.errors();
    EXPECT_EQ(keptLines(program), numbers(count));
}

/// What a program sees of it: no time of its own, another hour on the wall, and connections that the others have left.
TEST_F(FaultTest, aMachineThatSleptForAnHourGoesOn)
{
#ifdef LINGRELAY_SANITIZED
    GTEST_SKIP() << "a preloaded library and a sanitizer do not go together";
#endif
    Far far(twoConnections());
    Program program(
        command(60), far.environment({"LD_PRELOAD=" LINGRELAY_SHIFTCLOCK, "CLOCK_AFTER=4", "CLOCK_JUMP=3600"}));
    ASSERT_TRUE(program.waitForEvent("line"));
    program.signal(SIGSTOP);
    far.network->set(Weather::dark);
    std::this_thread::sleep_for(std::chrono::seconds(5));
    far.network->set(Weather::fair);
    program.signal(SIGCONT);
    goesOnToItsEnd(program);
}

TEST_F(FaultTest, aMachineWithoutTimeToSpareLosesNothing)
{
    Far far(manyClauses(20));
    std::vector<std::unique_ptr<Program>> others;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); ++i)
        others.push_back(std::make_unique<Program>(Words{"/bin/sh", "-c", "while :; do :; done"}, Words()));
    Program program(command(6.5, {"--output", far.folder / "voice.wav"}), far.environment());
    EXPECT_EQ(program.wait(), 0) << program.errors();
    EXPECT_EQ(lines(program), numbers(20));
}

} // namespace
