// What befalls a conversation from outside, on the programs themselves. No finished line may be lost, nobody waits for
// more than half a minute, and the user is told.

#include "tests/e2e/ScriptedService.h"
#include "tests/platform/LoopbackServer.h"
#include "tests/support/FaultyProxy.h"
#include "tests/support/RoughLink.h"

#include <cmath>
#include <csignal>
#include <cstdlib>
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
        std::string line;
        m_service = serviceElsewhere(folder / "service", {}, line);
        auto const colon = line.find(':') + 1;
        auto const blank = line.find(' ', colon);
        ASSERT_NE(blank, std::string::npos);
        proxy = std::make_unique<FaultyProxy>(static_cast<std::uint16_t>(std::stoi(line.substr(colon, blank - colon))));
        service(fmt::format("echo 'listening 127.0.0.1:{}{}'; exec sleep 600", proxy->port(), line.substr(blank)));
    }

    /// A service that the program does not start itself; `line` is what it printed.
    static std::unique_ptr<Program> serviceElsewhere(std::string const& place, Words words, std::string& line)
    {
        words.insert(words.end(), {place, "--port", "0"});
        auto service = std::make_unique<Program>(words, Words());
        EXPECT_TRUE(waitUntil(15, [&] { return (line = service->output()).ends_with('\n'); })) << service->errors();
        line = line.substr(0, line.find('\n'));
        return service;
    }

    /// The program and its service, each on a host of its own.
    struct Hosts : ScriptedService {
        /// False where the system does not allow it; then the test is skipped.
        bool start(Json const& content, RoughLink::Weather const& weather, Words const& command)
        {
            std::string why;
            link = RoughLink::make(why);
            if (!link) {
                [&] { GTEST_SKIP() << "no hosts of its own for this test: " << why; }();
                return false;
            }
            link->set(weather);
            script(content);
            std::string line;
            service = serviceElsewhere(folder / "service", link->on(RoughLink::Host::server), line);
            ScriptedService::service(fmt::format("echo '{}'; exec sleep 600", line));
            auto words = link->on(RoughLink::Host::client);
            words.insert(words.end(), command.begin(), command.end());
            program = std::make_unique<Program>(words, environment());
            return true;
        }

        /// Seconds of sound that have reached the service.
        double heard() const
        {
            std::istringstream record(readFile(folder / "record"));
            double bytes = 0;
            for (std::string line; std::getline(record, line);) {
                auto const entry = parseJson(line).value_or(Json());
                if (jsonString(entry, "event") == "binary")
                    bytes += entry.value("bytes", 0.0);
            }
            return bytes / 32000;
        }

        std::unique_ptr<RoughLink> link;
        std::unique_ptr<Program> service;
        std::unique_ptr<Program> program;
    };

    /// A clause each 300 ms of sound.
    static Json manyClauses(int count)
    {
        Json list = Json::array();
        for (int i = 1; i <= count; ++i)
            list.push_back(clauseAt(300 * i, fmt::format("Number {}.", i), fmt::format("Número {}.", i)));
        list.push_back(finished);
        return {{"stt", {steps(list)}}};
    }
    /// A clause each 300 ms, whatever sound arrives.
    static Json manyLines(int count)
    {
        Json list = Json::array();
        for (int i = 1; i <= count; ++i) {
            auto step = clause(fmt::format("Number {}.", i), fmt::format("Número {}.", i));
            step["at_ms"] = 300 * i;
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

TEST_F(FaultTest, packetsThatAreLateLostOrOvertakenChangeNeitherWordsNorTheirOrder)
{
    struct Case {
        char const* name;
        RoughLink::Weather weather;
        bool hasRoom; ///< for all of the sound
        Hosts hosts;
    };
    std::array<Case, 3> cases{Case{"overtaking", {.delay = 0.2, .jitter = 0.05, .overtaking = 0.25}, true, {}},
        Case{"lossy", {.delay = 0.2, .jitter = 0.05, .loss = 0.1, .overtaking = 0.25}, true, {}},
        Case{"slow", {.delay = 0.05, .bytesPerSecond = 16000}, false, {}}};
    for (auto& each : cases) {
        auto& hosts = each.hosts;
        if (!hosts.start(manyLines(20), each.weather, command(6.5, {"--output", hosts.folder / "voice.wav"})))
            return;
    }
    for (auto& [name, weather, hasRoom, hosts] : cases) {
        SCOPED_TRACE(name);
        EXPECT_EQ(hosts.program->wait(60), 0) << hosts.program->errors(); // ten of them for the voice alone
        EXPECT_EQ(lines(*hosts.program), numbers(20)) << hosts.program->errors();
        EXPECT_EQ(keptLines(*hosts.program), numbers(20));
        auto const [passed, lost, overtook] = hosts.link->seen();
        EXPECT_EQ(lost > 30, weather.loss > 0) << lost;
        EXPECT_EQ(overtook > 30, weather.overtaking > 0) << overtook;
        EXPECT_EQ(hosts.heard() > 5.5, hasRoom) << hosts.heard() << " seconds of sound arrived";
        RecordProperty(name,
            fmt::format("{} packets, {} lost, {} overtook, {:.1f} s of sound, {:.1f} s in all", passed, lost, overtook,
                hosts.heard(), hosts.program->events().back()["t"].get<double>()));
    }
}

TEST_F(FaultTest, aLinkThatIsCutForTwentySecondsIsMadeAnew)
{
    Hosts hosts;
    Json const content{{"stt",
        {steps({clauseAt(500, "One.", "Uno."), {{"after_audio_ms", 600000}}}),
            steps({clauseAt(500, "Two.", "Dos."), finished})}}};
    RoughLink::Weather weather{.delay = 0.05};
    if (!hosts.start(content, weather, command(60)))
        return;
    auto& program = *hosts.program;
    ASSERT_TRUE(program.waitForEvent("line"));
    weather.cut = true;
    hosts.link->set(weather);
    auto const cut = Clock::now();
    EXPECT_TRUE(waitUntil(20, [&] { return told(program, "reconnecting"); }));
    std::this_thread::sleep_until(cut + std::chrono::seconds(20));
    weather.cut = false;
    hosts.link->set(weather);
    EXPECT_TRUE(waitUntil(15, [&] { return lines(program).size() == 2; })) << program.output();
    RecordProperty("seconds", fmt::format("{:.1f}", toSeconds(Clock::now() - cut)));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(10), 0) << program.errors();
    EXPECT_EQ(keptLines(program), (Words{"Uno.", "Dos."}));
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
    scriptBehindProxy(manyLines(count));
    Program program(command(pause + 60), environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    program.signal(SIGSTOP);
    std::this_thread::sleep_for(seconds(pause));
    program.signal(SIGCONT);
    EXPECT_TRUE(waitUntil(patience, [&] { return lines(program).size() >= numbers(count).size(); }));
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
    scriptBehindProxy({{"stt",
        {steps({clauseAt(500, "One.", "Uno."), {{"after_audio_ms", 60000}}}),
            steps({clauseAt(500, "Two.", "Dos."), finished})}}});
    Program program(command(60), environment({"LD_PRELOAD=" LINGRELAY_SHIFTCLOCK, "CLOCK_AFTER=4", "CLOCK_JUMP=3600"}));
    ASSERT_TRUE(program.waitForEvent("line", 3));
    program.signal(SIGSTOP);
    proxy->set(Weather::hole);
    std::this_thread::sleep_for(std::chrono::seconds(5));
    auto const start = Clock::now();
    program.signal(SIGCONT);
    EXPECT_TRUE(waitUntil(patience, [&] { return lines(program).size() == 2; })) << program.output();
    RecordProperty("seconds", fmt::format("{:.1f}", toSeconds(Clock::now() - start)));
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(10), 0) << program.errors();
    EXPECT_EQ(keptLines(program), (Words{"Uno.", "Dos."}));
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
