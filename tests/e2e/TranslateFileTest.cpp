#include "tests/e2e/ScriptedService.h"

#include <csignal>

using namespace lingrelay;

namespace {

class TranslateFileTest : public testing::Test, protected ScriptedService {
protected:
    TranslateFileTest() { makeSound("speech.wav", 2); }

    void makeSound(char const* name, double length, int rate = 16000) const
    {
        writeSound(folder / name, std::vector<float>(static_cast<std::size_t>(rate * length), 0.1F), rate);
    }
    Words command(Words options, std::string const& input = "speech.wav") const
    {
        Words words{LINGRELAY_CLI, "translate", folder / input, "--from", "en", "--to", "es"};
        words.insert(words.end(), options.begin(), options.end());
        return words;
    }
    /// Runs with events to its end.
    std::vector<Json> run(Words options, int expected = 0, double limit = 40)
    {
        options.insert(options.end(), {"--events", "json"});
        Program program(command(options), environment());
        EXPECT_EQ(program.wait(limit), expected) << program.errors() << program.output();
        errors = program.errors();
        return program.events();
    }
    /// The reason of the one end event, which is the last; and time never goes back.
    static std::string endOf(std::vector<Json> const& events)
    {
        double last = 0;
        for (auto const& event : events) {
            EXPECT_GE(jsonNumber(event, "t").value_or(-1), last) << event;
            last = jsonNumber(event, "t").value_or(0);
        }
        if (events.empty() || only(events, "end").size() != 1 || jsonString(events.back(), "event") != "end")
            return "no proper end";
        return jsonString(events.back(), "reason").value_or("none");
    }

    std::string errors; ///< of the last run
};

/// Seconds of a voice file that are louder than silence.
double voiceIn(std::string const& path)
{
    auto const samples = readVoice(path);
    auto const loud
        = std::count_if(samples.begin(), samples.end(), [](float sample) { return std::abs(sample) > 0.01F; });
    return static_cast<double>(loud) / 24000;
}

TEST_F(TranslateFileTest, aFileIsTranslatedToItsEndWithAllThatWasAskedFor)
{
    script({{"stt",
        {steps({{{"after_audio_ms", 500},
                    {"send", {{"tokens", {token("Good mor", false), token("Buenos", false, true)}}}}},
            clause("Good morning.", "Buenos días."), clauseAt(1000, "How are you?", "¿Cómo estás?"),
            {{"after_end", true}, {"send", {{"tokens", {token("Bye", true), token(" Adiós", true, true)}}}}},
            finished})}}});
    auto const events = run({"--pace", "fast", "--output", folder / "voice.wav", "--transcript", folder / "t.txt",
        "--transcript=" + folder / "t.srt", "--transcript", folder / "t.vtt", "--transcript", folder / "t.json",
        "--trace", folder / "trace"});
    EXPECT_EQ(endOf(events), "finished");
    EXPECT_EQ(errors, "");
    auto const statuses = only(events, "status");
    ASSERT_GE(statuses.size(), 3U);
    EXPECT_EQ(statuses[0]["kind"], "connecting");
    EXPECT_EQ(statuses[0]["text"], "Connecting…");
    EXPECT_EQ(statuses[1]["kind"], "live");
    EXPECT_EQ(statuses[1]["text"], "● ready");
    auto const lines = only(events, "line");
    ASSERT_EQ(lines.size(), 3U);
    EXPECT_EQ(lines[1]["source"], "How are you?");
    EXPECT_EQ(lines[1]["translation"], "¿Cómo estás?");
    EXPECT_EQ(lines[1]["direction"], "listen");
    EXPECT_EQ(lines[2]["translation"], "Adiós"); // no punctuation: flushed at the end
    auto const speech = only(events, "speech");
    ASSERT_EQ(speech.size(), 3U);
    for (std::size_t i = 0; i < speech.size(); ++i) {
        EXPECT_EQ(speech[i]["seq"], i + 1);
        EXPECT_GT(speech[i]["seconds"], 0);
        EXPECT_LT(speech[i]["seconds"], 6);
    }
    EXPECT_NEAR(voiceIn(folder / "voice.wav"), 1.5, 0.1);

    auto const text = readFile(folder / "t.txt");
    EXPECT_NE(text.find("] THEM\n  Good morning.\n  → Buenos días.\n\n["), std::string::npos) << text;
    EXPECT_TRUE(readFile(folder / "t.srt").starts_with("1\n00:00:0"));
    EXPECT_TRUE(readFile(folder / "t.vtt").starts_with("WEBVTT\n\n1\n"));
    auto const archive = parseJson(readFile(folder / "t.json"));
    ASSERT_TRUE(archive);
    EXPECT_EQ((*archive)["lines"].size(), 3U);
    EXPECT_EQ((*archive)["targetLang"], "es");
    std::istringstream trace(readFile(folder / "trace"));
    int traced = 0;
    for (std::string line; std::getline(trace, line); ++traced) {
        auto const stamps = parseJson(line).value_or(Json())["stamps"];
        EXPECT_LT(stamps["final"], stamps["firstAudio"]) << line;
        EXPECT_LE(stamps["firstAudio"], stamps["heard"]) << line;
    }
    EXPECT_EQ(traced, 3);
    EXPECT_EQ(heard("stt#0"), 2);
    EXPECT_EQ(record("http").back()["event"], "end"); // the backend was told
}

TEST_F(TranslateFileTest, captionsSuitWhoReadsThem)
{
    script({{"stt", {steps({clauseAt(500, "One.", "Uno."), finished})}}});
    auto const plain = "One.\n  → Uno.\n";
    // What is started by what reads its standard output.
    auto const unread = R"("$@" | :)";
    auto const inTerminal = R"(script -qec "stty cols 60; exec $(printf "'%s' " "$@") 2>errors" /dev/null)";
    struct Case {
        Words settings;
        char const* reader;
        std::string shown; ///< the whole of it, or what it begins with
        std::string unseen;
    };
    for (auto const& [settings, reader, shown, unseen] : {Case{{}, R"("$@")", plain, "\x1b"}, {{}, unread, "", "One"},
             {{"TERM=dumb"}, inTerminal, "One.\r\n  → Uno.\r\n", "\x1b"},
             {{"TERM=xterm", "NO_COLOR"}, inTerminal, "\x1b[2mOne.\x1b[0m", "nothing"},
             {{"TERM=xterm", "NO_COLOR=1"}, inTerminal, "Uno.", "\x1b[2m"}}) {
        Words words{"bash", "-o", "pipefail", "-c", fmt::format("cd '{}'; {}", folder.path(), reader), "bash"};
        auto const rest = command({"--pace=fast", "--transcript", folder / "t.txt"});
        words.insert(words.end(), rest.begin(), rest.end());
        Program program(words, environment(settings));
        EXPECT_EQ(program.wait(), 0) << program.errors();
        EXPECT_NE(program.output().find(shown), std::string::npos) << program.output();
        EXPECT_EQ(program.output().find(unseen), std::string::npos) << program.output();
        EXPECT_EQ(program.errors() + readFile(folder / "errors"), "");
        EXPECT_NE(readFile(folder / "t.txt").find("Uno."), std::string::npos) << "whoever reads standard output";
        EXPECT_TRUE(record("tts#0").empty()) << "nobody asked for a voice";
    }
    auto const events = run({"--pace=fast", "--mode", "speak"});
    EXPECT_FALSE(only(events, "caption").empty());
    for (auto const& caption : only(events, "caption"))
        EXPECT_EQ(caption["kind"], "speak") << "the user's own voice is captioned in translation only";
}

TEST_F(TranslateFileTest, badArgumentsAreToldInOneLineAndContactNobody)
{
    service("touch '" + folder / "contacted" + "'\nexit 1");
    makeSound("empty.wav", 0);
    for (auto const& words : {command({"--to", "xx"}), command({"--transcript", "/nowhere/notes.txt"}),
             command({"--output", "/nowhere/v.wav"}), command({"--stt-url", "ws://example.com"}),
             command({}, "missing.wav"), command({}, "empty.wav"), command({}, ""), command({}, "service"),
             Words{LINGRELAY_CLI, "say", "--events", "json"}}) {
        Program program(words, environment());
        EXPECT_EQ(program.wait(), 2) << words.back();
        EXPECT_EQ(program.output(), "") << words.back();
        auto const text = program.errors();
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "contacted"));
}

TEST_F(TranslateFileTest, aRefusedStartIsToldWithTheServicesWords)
{
    script({{"http", {{"start", {{{"body", {{"error", "No time left, please top up."}, {"code", "empty"}}}}}}}}});
    auto events = run({"--transcript", folder / "t.txt"}, 1);
    EXPECT_EQ(endOf(events), "refused");
    ASSERT_EQ(only(events, "status").size(), 2U);
    EXPECT_EQ(only(events, "status")[1]["kind"], "warning");
    EXPECT_EQ(only(events, "status")[1]["text"], "No time left, please top up.");
    EXPECT_NE(errors.find("No time left"), std::string::npos);
    service("echo 'models are missing' >&2; exit 1");
    events = run({}, 1);
    EXPECT_EQ(endOf(events), "refused");
    EXPECT_NE(errors.find("models are missing"), std::string::npos) << errors;
    events = run({"--backend-url", "http://127.0.0.1:1"}, 1);
    EXPECT_EQ(endOf(events), "refused");
}

TEST_F(TranslateFileTest, aServiceThatDiesInMidClauseFailsTheRunAndKeepsWhatWasSaid)
{
    makeSound("speech.wav", 60);
    script(
        {{"stt", {steps({clauseAt(300, "Kept.", "Guardado."), {{"send", {{"tokens", {token("Half a", true)}}}}}})}}});
    Program program(command({"--events=json", "--transcript", folder / "t.txt"}), environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    auto const services = program.children();
    ASSERT_EQ(services.size(), 1U);
    ::kill(services.front(), SIGKILL);
    EXPECT_EQ(program.wait(), 1);
    auto const events = program.events();
    EXPECT_EQ(endOf(events), "failed");
    EXPECT_LT(events.back()["t"], 30); // without waiting for the end of the input
    EXPECT_NE(readFile(folder / "t.txt").find("Guardado."), std::string::npos);
    auto const text = program.errors();
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << text;
    bool reconnecting = false;
    for (auto const& status : only(events, "status"))
        reconnecting |= status["kind"] == "connecting" && status["text"] == "↻ reconnecting…";
    EXPECT_TRUE(reconnecting);
}

TEST_F(TranslateFileTest, fastWaitsForAReconnectAndLosesNothing)
{
    makeSound("speech.wav", 10);
    Json const progress{{"tokens", Json::array()}, {"final_audio_proc_ms", 2500}, {"total_audio_proc_ms", 3000}};
    script({{"stt",
        {steps({clauseAt(1000, "One.", "Uno."), {{"after_audio_ms", 3000}, {"send", progress}},
             {{"delay_ms", 200}, {"drop", true}}}),
            steps({clauseAt(500, "Two.", "Dos."), finished})}}});
    auto const events = run({"--pace=fast"});
    EXPECT_EQ(endOf(events), "finished");
    EXPECT_EQ(only(events, "line").size(), 2U);
    EXPECT_EQ(heard("stt#1"), 7.5); // from what was recognised for good
}

TEST_F(TranslateFileTest, theUsersStopIsQuickAndKeepsFinishedLinesOnly)
{
    makeSound("speech.wav", 60);
    script({{"stt",
                {steps({clauseAt(300, "Kept.", "Guardado."),
                    {{"send", {{"tokens", {token("Half", true), token("Medio", true, true)}}}}}})}},
        {"http", {{"end", {{{"offline", true}, {"delay_ms", 20000}}}}}}});
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        Program program(
            command({"--events=json", "--transcript", folder / "t.txt", "--output", folder / "v.wav"}), environment());
        ASSERT_TRUE(program.waitForEvent("line"));
        auto const services = program.children();
        auto const begin = Clock::now();
        program.signal(number);
        EXPECT_EQ(program.wait(), 0);
        EXPECT_LT(toSeconds(Clock::now() - begin), 10); // the backend answers after twenty
        EXPECT_EQ(endOf(program.events()), "stopped");
        EXPECT_EQ(program.errors(), "");
        EXPECT_NE(readFile(folder / "t.txt").find("Guardado."), std::string::npos);
        EXPECT_EQ(readFile(folder / "t.txt").find("Medio"), std::string::npos);
        ASSERT_EQ(services.size(), 1U);
        EXPECT_NE(::kill(services.front(), 0), 0); // no service is left behind
    }
    Program program(command({"--events=json"}), environment());
    ASSERT_TRUE(program.waitForEvent("line"));
    program.signal(SIGINT);
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    program.signal(SIGTERM);
    EXPECT_EQ(program.wait(), 130);
}

TEST_F(TranslateFileTest, aSessionIsArchivedAndAKilledOneIsRecovered)
{
    makeSound("speech.wav", 60);
    script({{"stt", {steps({clauseAt(300, "One.", "Uno."), clauseAt(600, "Two.", "Dos.")})}}});
    {
        Program killed(command({"--events=json"}), environment());
        ASSERT_TRUE(eventually([&] { return only(killed.events(), "line").size() == 2; }, 15));
        killed.signal(SIGKILL);
        EXPECT_LT(killed.wait(), 0);
    }
    makeSound("speech.wav", 1);
    script({{"stt", {steps({clauseAt(300, "Three.", "Tres."), finished})}}});
    auto const events = run({"--pace=fast", "--preset", "watchVideo", "--transcript", folder / "t.json"});
    auto const recovered = only(events, "recovered");
    ASSERT_EQ(recovered.size(), 1U);
    auto const lines = [](Json const& event) {
        std::vector<std::string> texts;
        auto const session = *parseJson(readFile(*jsonString(event, "path")));
        for (auto const& line : session["lines"])
            texts.push_back(line["source"]);
        return texts;
    };
    EXPECT_EQ(lines(recovered[0]), (Words{"One.", "Two."}));
    EXPECT_NE(errors.find(*jsonString(recovered[0], "path")), std::string::npos);
    auto const archived = only(events, "session");
    ASSERT_EQ(archived.size(), 1U);
    EXPECT_EQ(lines(archived[0]), Words{"Three."});
    EXPECT_EQ(readFile(*jsonString(archived[0], "path")), readFile(folder / "t.json"));
    EXPECT_TRUE(only(run({"--pace=fast"}), "recovered").empty()) << "said once";
    EXPECT_EQ(readFile(folder / "config/lingrelay/defaults.json").find("preset"), std::string::npos)
        << "a preset on the command line is for this run only";
}

TEST_F(TranslateFileTest, nobodyReadingStandardOutputIsNoFault)
{
    script({{"stt", {steps({clauseAt(500, "One.", "Uno."), finished})}}});
    for (auto const& [redirection, code] : {std::pair("<&- >&-", 0), {"<&- >&- 2>&-", 0}, {">/dev/full", 1}}) {
        std::filesystem::remove(folder / "t.txt");
        Words words{"/bin/sh", "-c", fmt::format("exec \"$@\" {}", redirection), "sh"};
        auto const rest = command({"--pace=fast", "--transcript", folder / "t.txt"});
        words.insert(words.end(), rest.begin(), rest.end());
        Program other(words, environment());
        EXPECT_EQ(other.wait(), code) << redirection;
        EXPECT_NE(readFile(folder / "t.txt").find("Uno."), std::string::npos) << redirection;
        EXPECT_EQ(other.errors().find("standard output: No space left") != std::string::npos, code == 1);
    }
}

TEST_F(TranslateFileTest, whatTheInputLacksIsTold)
{
    script({{"stt", {steps({finished})}}});
    EXPECT_EQ(endOf(run({"--pace=fast"})), "finished");
    EXPECT_NE(errors.find("no speech was recognised"), std::string::npos);
    std::filesystem::resize_file(folder / "speech.wav", 20'000);
    EXPECT_EQ(endOf(run({"--pace=fast"}, 1)), "failed");
    EXPECT_NE(errors.find("the file promises 2.0 s: it is incomplete"), std::string::npos) << errors;
    // No script: the real engines, which say what they can do.
    makeSound("speech.wav", 1);
    service("exec '" LINGRELAY_SERVICE "' \"$@\"");
    EXPECT_EQ(endOf(run({"--to", "vi"}, 1)), "refused");
    EXPECT_NE(errors.find("cannot translate from English (en) to Vietnamese (vi)"), std::string::npos) << errors;
    EXPECT_NE(errors.find("--from en --to "), std::string::npos) << errors;
}

TEST_F(TranslateFileTest, aKeyIsShownNowhereEvenWhenTheServiceRepeatsIt)
{
    std::string const key = "sk-very-secret-0815";
    auto repeats = steps({{{"send", {{"error_code", 401}, {"error_message", "No such key: " + key}}}}});
    repeats["check_key"] = false;
    script({{"stt", {repeats}}});
    auto const service = startElsewhere();
    auto const address = fmt::format("ws://127.0.0.1:{}", service->port);
    Program program(command({"--events=json", "--set", "k.soniox=" + key, "--stt-url", address, "--trace",
                        folder / "trace", "--transcript", folder / "t.json"}),
        environment({"LINGRELAY_LOG=" + folder / "log"}));
    ASSERT_TRUE(eventually([&] { return program.output().find("No such key: ") != std::string::npos; }))
        << program.output();
    program.signal(SIGINT);
    EXPECT_EQ(program.wait(), 0);
    EXPECT_TRUE(record("http").empty()); // with a key of the user's own no session is asked for
    for (auto const& shown : {program.output(), program.errors(), readFile(folder / "trace"),
             readFile(folder / "t.json"), readFile(folder / "log")})
        EXPECT_EQ(shown.find(key), std::string::npos) << shown;
    EXPECT_FALSE(std::filesystem::exists(folder / "config")); // nor is it stored
}

TEST_F(TranslateFileTest, theLocalServiceIsClosedToOthers)
{
    LocalService const service;
    auto const port = fmt::format(":{:04X} ", service.port);
    int places = 0;
    for (auto const* table : {"/proc/net/tcp", "/proc/net/tcp6"}) {
        std::istringstream rows(readFile(table));
        for (std::string row; std::getline(rows, row);) {
            if (row.find(port) == std::string::npos || row.find(":0000 0A") == std::string::npos) // listens there
                continue;
            ++places;
            EXPECT_NE(row.find(" 0100007F" + port), std::string::npos) << row;
        }
    }
    EXPECT_EQ(places, 1);
}

TEST_F(TranslateFileTest, realSpeechBecomesSpanishOnThisMachineAlone)
{
    std::string const clip = "/usr/share/pocketsphinx/test/data/librivox/sense_and_sensibility_01_austen_64kb-0870.wav";
    if (!std::filesystem::exists(clip))
        GTEST_SKIP() << "the package pocketsphinx-testdata is not installed";
    service(fmt::format("exec '{}'", LINGRELAY_SERVICE));
    std::filesystem::copy_file(clip, folder / "clip.wav");
    auto words = command({"--events=json", "--pace=fast", "--output", folder / "voice.wav"}, "clip.wav");
    // With nothing but loopback, where that can be had.
    Words alone{
        "/usr/bin/unshare", "-rn", "sh", "-c", "PATH=$PATH:/usr/sbin:/sbin; ip link set lo up && exec \"$0\" \"$@\""};
    auto probe = alone;
    probe.push_back("true");
    if (Program allowed(probe, {}); allowed.wait(5) == 0)
        words.insert(words.begin(), alone.begin(), alone.end());
    Program program(words, environment());
    EXPECT_EQ(program.wait(120), 0) << program.errors();
    EXPECT_EQ(endOf(program.events()), "finished");
    EXPECT_FALSE(only(program.events(), "line").empty()) << program.output();
    EXPECT_GT(voiceIn(folder / "voice.wav"), 0.5);
}

} // namespace
