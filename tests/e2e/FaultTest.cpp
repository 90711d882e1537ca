// What befalls a conversation from outside, on the programs themselves. No finished line may be lost, nobody waits for
// more than half a minute, and the user is told.

#include "tests/e2e/ScriptedService.h"
#include "tests/platform/LoopbackServer.h"
#include "tests/support/FaultyProxy.h"

#include <cmath>
#include <csignal>
#include <thread>

#include <sndfile.h>

using namespace lingrelay;

namespace {

constexpr double patience = 30; ///< seconds; longer is a hang

class FaultTest : public testing::Test, protected ScriptedService {
protected:
    using Weather = FaultyProxy::Weather;

    /// The command, for a recording of silence of that length.
    Words command(double length, Words options = {}) const
    {
        auto const input = folder / fmt::format("{}s.wav", length);
        if (!std::filesystem::exists(input)) { // another program may be reading it
            SF_INFO info{0, 16000, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_16, 0, 0};
            auto* file = sf_open(input.c_str(), SFM_WRITE, &info);
            std::vector<float> const frames(static_cast<std::size_t>(16000 * length));
            sf_writef_float(file, frames.data(), static_cast<sf_count_t>(frames.size()));
            sf_close(file);
        }
        Words words{LINGRELAY_CLI, "translate", input, "--from", "en", "--to", "es", "--events", "json"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }

    /// As `script`, with a proxy between the program and its service.
    void scriptBehindProxy(Json const& content)
    {
        script(content);
        m_service = std::make_unique<Program>(Words{folder / "service", "--port", "0"}, Words());
        std::string line;
        ASSERT_TRUE(waitUntil(15, [&] { return (line = m_service->output()).ends_with('\n'); }));
        auto const colon = line.find(':') + 1;
        auto const blank = line.find(' ', colon);
        auto const port = static_cast<std::uint16_t>(std::stoi(line.substr(colon, blank - colon)));
        proxy = std::make_unique<FaultyProxy>(port);
        service(fmt::format("echo 'listening 127.0.0.1:{}{}'; exec sleep 600", proxy->port(),
            line.substr(blank, line.find('\n') - blank)));
    }

    /// A clause each 300 ms of sound.
    static Json manyClauses(int count)
    {
        Json list = Json::array();
        for (int i = 1; i <= count; ++i)
            list.push_back(clauseAt(300 * i, fmt::format("Number {}.", i), fmt::format("Número {}.", i)));
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

    std::unique_ptr<FaultyProxy> proxy;

private:
    std::unique_ptr<Program> m_service;
};

TEST_F(FaultTest, aNetworkThatIsCutForAMomentCostsItsMomentOnly)
{
    scriptBehindProxy({{"stt",
        {steps({clauseAt(500, "One.", "Uno."), {{"after_audio_ms", 60000}}}),
            steps({clauseAt(500, "Two.", "Dos."), finished})}}});
    Program program(command(9), environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    proxy->set(Weather::cut);
    EXPECT_TRUE(waitUntil(5, [&] { return told(program, "reconnecting"); }));
    std::this_thread::sleep_for(std::chrono::seconds(2));
    proxy->set(Weather::fair);
    EXPECT_EQ(program.wait(), 0) << program.errors();
    EXPECT_EQ(lines(program), (Words{"Uno.", "Dos."}));
    EXPECT_EQ(keptLines(program), (Words{"Uno.", "Dos."}));
}

TEST_F(FaultTest, aConnectionThatSilentlyLeadsNowhereIsLeft)
{
    scriptBehindProxy({{"stt",
        {steps({clauseAt(500, "One.", "Uno."), {{"after_audio_ms", 60000}}}),
            steps({clauseAt(500, "Two.", "Dos."), finished})}}});
    Program program(command(40), environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    auto const start = Clock::now();
    proxy->set(Weather::hole);
    EXPECT_TRUE(waitUntil(patience, [&] { return lines(program).size() == 2; })) << program.output();
    RecordProperty("seconds", fmt::format("{:.1f}", toSeconds(Clock::now() - start)));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(10), 0);
    EXPECT_EQ(keptLines(program), (Words{"Uno.", "Dos."}));
}

TEST_F(FaultTest, roughWeatherChangesNeitherWordsNorTheirOrder)
{
    scriptBehindProxy(manyClauses(20));
    proxy->set(Weather::rough);
    Program program(command(6.5, {"--output", folder / "voice.wav"}), environment());
    EXPECT_EQ(program.wait(), 0) << program.errors();
    EXPECT_EQ(lines(program), numbers(20));
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
    auto const started = Json{{"end", {{{"offline", true}}}}};
    std::vector<Case> const cases{
        {"session", {{"http", {{"start", {{{"silence", true}}}}}}}, 1, {}},
        {"handshake", {{"stt", {{{"accept", {{"delay_ms", 600000}}}}, steps({one, finished})}}}, 0, {"Uno."}},
        {"answer", {{"stt", {steps({one, stall}), steps({finished})}}}, 0, {"Uno."}},
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
    struct Case {
        TestCertificate served;
        TestCertificate trusted;
        char const* words;
    };
    auto const good = TestCertificate::make("DNS:localhost");
    auto const expired = TestCertificate::make("DNS:localhost", -60);
    auto const other = TestCertificate::make("DNS:other.example");
    struct Run {
        std::unique_ptr<LoopbackServer> server;
        std::unique_ptr<Program> program;
        std::string words;
    };
    std::vector<Run> runs;
    for (auto const& [served, trusted, words] :
        {Case{expired, expired, "expired"}, {other, other, "not for localhost"}, {good, other, "not trusted"}}) {
        auto const file = folder / fmt::format("trusted{}.pem", runs.size());
        writeFile(file, trusted.certificate);
        auto server = std::make_unique<LoopbackServer>(served);
        auto const url = fmt::format("wss://localhost:{}/", server->port());
        auto program = std::make_unique<Program>(
            command(60, {"--set", "k.soniox=a-key-of-mine", "--stt-url", url}), environment({"SSL_CERT_FILE=" + file}));
        runs.push_back({std::move(server), std::move(program), words});
    }
    for (auto const& [server, program, words] : runs) {
        EXPECT_EQ(program->wait(patience), 1) << words;
        EXPECT_TRUE(told(*program, words)) << program->output() << program->errors();
        EXPECT_TRUE(server->seen().empty()) << "no key goes out";
    }
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

TEST_F(FaultTest, aProgramThatWasStoppedGoesOn)
{
    scriptBehindProxy(manyClauses(20));
    Program program(command(6.5), environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    program.signal(SIGSTOP);
    std::this_thread::sleep_for(std::chrono::seconds(8));
    auto const before = lines(program).size();
    program.signal(SIGCONT);
    EXPECT_EQ(program.wait(), 0) << program.errors();
    auto const all = lines(program);
    EXPECT_GT(all.size(), before);
    EXPECT_EQ(keptLines(program), all);
    auto const whole = numbers(20);
    EXPECT_TRUE(std::includes(whole.begin(), whole.end(), all.begin(), all.end(), [&](auto const& a, auto const& b) {
        return std::stoi(a.substr(8)) < std::stoi(b.substr(8));
    })) << "in order, none twice";
}

TEST_F(FaultTest, aMachineWithoutTimeToSpareLosesNothing)
{
    scriptBehindProxy(manyClauses(20));
    std::vector<std::unique_ptr<Program>> others;
    for (unsigned i = 0; i < 2 * std::thread::hardware_concurrency(); ++i)
        others.push_back(std::make_unique<Program>(Words{"/bin/sh", "-c", "while :; do :; done"}, Words()));
    Program program(command(6.5, {"--output", folder / "voice.wav"}), environment());
    EXPECT_EQ(program.wait(), 0) << program.errors();
    EXPECT_EQ(lines(program), numbers(20));
}

} // namespace
