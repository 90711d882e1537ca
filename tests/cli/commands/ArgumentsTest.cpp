#include "cli/commands/Arguments.h"

#include "base/Registry.h"
#include "cli/commands/RunPlan.h"
#include "cli/commands/StoredKeys.h"
#include "config/L10n.h"
#include "platform/sim/SimDefaults.h"

#include <filesystem>
#include <fstream>

#include <unistd.h>

using namespace lingrelay;
namespace fs = std::filesystem;

namespace {

class ArgumentsTest : public testing::Test {
protected:
    ArgumentsTest()
    {
        fs::create_directories(folder);
        std::ofstream(input) << "sound";
    }
    ~ArgumentsTest() override { fs::remove_all(folder); }

    Result<Arguments> parse(std::vector<std::string> words) const
    {
        words.insert(words.begin(), {"translate", input});
        return Arguments::parse(words);
    }
    /// The problem with these words; empty when there is none.
    std::string problem(std::vector<std::string> words) const
    {
        auto const result = parse(std::move(words));
        return result ? "" : result.error().message;
    }
    std::string planProblem(std::vector<std::string> words) const
    {
        auto const arguments = parse(std::move(words));
        if (!arguments)
            return arguments.error().message;
        return planProblem(*arguments);
    }
    static std::string planProblem(Arguments const& arguments)
    {
        auto const plan = planFor(arguments);
        return plan ? "" : plan.error().message;
    }
    static Result<RunPlan> planFor(Arguments const& arguments, std::map<std::string, Json> const& stored = {})
    {
        Registry registry;
        auto store = std::make_unique<SimDefaults>();
        for (auto const& [key, value] : stored)
            store->set(key, value);
        registry.put<Defaults>(std::make_shared<OverlaidDefaults>(std::move(store), arguments.settings));
        registry.put(std::make_shared<UiLanguage>());
        return RunPlan::make(arguments);
    }

    std::string folder = fs::temp_directory_path() / fmt::format("lingrelay-arguments-{}", ::getpid());
    std::string input = folder + "/speech.wav";
};

TEST_F(ArgumentsTest, readsOptionsInBothSpellings)
{
    auto const arguments = parse({"--mode=speak", "--from", "vi", "--to=en", "--output", folder + "/o.WAV", "--pace",
        "fast", "--events=json", "--set", "voiceSpeed=0.9", "--set=k.soniox=a=b", "--stt-url=wss://example.com/x?y=1",
        "--transcript", folder + "/a.txt", "--transcript=" + folder + "/b.SRT", "--trace", folder + "/t.jsonl"});
    ASSERT_TRUE(arguments) << arguments.error().message;
    EXPECT_EQ(arguments->mode, AppSettings::Mode::speak);
    EXPECT_EQ(arguments->from, "vi");
    EXPECT_EQ(arguments->output, Arguments::Output::file);
    EXPECT_EQ(arguments->pace, Pace::fast);
    EXPECT_EQ(arguments->events, Arguments::Events::json);
    EXPECT_EQ(arguments->sttUrl, "wss://example.com/x?y=1");
    ASSERT_EQ(arguments->settings.size(), 2U);
    EXPECT_EQ(arguments->settings[0].second, Json(0.9));
    EXPECT_EQ(arguments->settings[1].second, Json("a=b"));
    ASSERT_EQ(arguments->transcripts.size(), 2U);
    EXPECT_EQ(arguments->transcripts[1].form, Arguments::Form::srt);
    // Trying whether outputs can be written leaves nothing behind.
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(ArgumentsTest, everyBadWordHasItsOwnLine)
{
    std::pair<std::vector<std::string>, std::string> const cases[] = {
        {{"--nonsense=sk-secret"}, "--nonsense"},
        {{"--pace"}, "--pace needs a value"},
        {{"--pace", "slow"}, "realtime or fast"},
        {{"--mode", "Listen"}, "listen, speak or both"},
        {{"--events", "xml"}, "json"},
        {{"--from", "xx"}, "not a known language"},
        {{"--to", "auto"}, "cannot be \"auto\""},
        {{"--output", "voice.mp3"}, "FILE.wav"},
        {{"--speakers", ""}, "name of a device"},
        {{"--transcript", "notes.doc"}, ".vtt"},
        {{"--transcript", folder + "/missing/a.txt"}, "No such file"},
        {{"--trace", folder}, "cannot be written"},
        {{"--transcript", folder + "/a.txt", "--trace", folder + "/a.txt"}, "two outputs"},
        {{"--output", input}, "the input"},
        {{"--stt-url", "https://example.com"}, "wss://"},
        {{"--tts-url", "ws://example.com"}, "not encrypted"},
        {{"--backend-url", "http://127.0.0.1@evil.example"}, "user information"},
        {{"--api-url", "https://"}, "not a usable address"},
        {{"--stt-url", "ws://127.0.0.1.evil.example"}, "not encrypted"},
        {{"--set", "nothing=1"}, "no setting"},
        {{"--set", "=1"}, "KEY=VALUE"},
        {{"second.wav"}, "one too many"},
    };
    for (auto const& [words, expected] : cases) {
        auto const message = problem(words);
        EXPECT_NE(message.find(expected), std::string::npos) << words.front() << ": " << message;
        EXPECT_EQ(message.find('\n'), std::string::npos);
        EXPECT_EQ(message.find("sk-secret"), std::string::npos);
    }
    EXPECT_EQ(problem({"--transcript", folder + "/a.txt", "--backend-url", "http://127.0.0.1:80", "--stt-url",
                  "ws://[::1]:9"}),
        "");
    EXPECT_FALSE(Arguments::parse({}));
    using Words = std::vector<std::string>;
    for (auto const& words :
        {Words{"say"}, Words{"say", " \t"}, Words{"test-voice", "hello"}, Words{"translate", "--pace", "fast"},
            Words{"say", "hello", "--pace", "fast"}, Words{"devices", "--mode=both"}})
        EXPECT_FALSE(Arguments::parse(words)) << words.back();
    EXPECT_FALSE(Arguments::parse(Words{"translate"})->input) << "live sound";
    EXPECT_EQ(Arguments::parse(Words{"translate", "-"})->input, "/dev/stdin");
    EXPECT_EQ(Arguments::parse(Words{"--help"})->action, Arguments::Action::help);
    auto const about = Arguments::parse(Words{"sessions", "--bad", "--help"});
    EXPECT_EQ(about->action, Arguments::Action::help);
    auto const help = Arguments::help(about->helpFor);
    EXPECT_TRUE(help.find("--format") != std::string::npos && help.find("--trace") == std::string::npos) << help;
}

TEST_F(ArgumentsTest, settingsTakeValuesOfTheirTypeAndNeverRepeatThem)
{
    std::pair<char const*, char const*> const good[] = {{"tts", "false"}, {"tts", "1"}, {"autoDetectMinutes", "-3"},
        {"voiceSpeed", "1e-1"}, {"mode", "both"}, {"perAppProfiles", R"({"a":"b"})"}, {"context.profiles", "[]"},
        {"pro.remainingSeconds", "90"}, {"host.stt", "ws://127.0.0.1:1"}, {"host.backend", ""}, {"k.soniox", ""}};
    for (auto const& [key, text] : good)
        EXPECT_TRUE(storedValue(key, text)) << key;
    std::pair<char const*, char const*> const bad[] = {{"tts", "secret"}, {"tts", ""}, {"autoDetectMinutes", "3.5"},
        {"voiceSpeed", "inf"}, {"voiceSpeed", "secret"}, {"mode", "Both"}, {"perAppProfiles", R"({"a":1})"},
        {"perAppProfiles", "secret"}, {"context.profiles", "{}"}, {"context.profiles", R"([{"id":"secret"}])"},
        {"pro.remainingSeconds", "secret"}, {"host.stt", "http://127.0.0.1"}, {"voiceName", "secret\xFF"},
        {"Tts", "true"}};
    for (auto const& [key, text] : bad) {
        auto const value = storedValue(key, text);
        ASSERT_FALSE(value) << key << '=' << text;
        EXPECT_NE(value.error().message.find(key), std::string::npos);
        EXPECT_EQ(value.error().message.find("secret"), std::string::npos);
    }
}

TEST_F(ArgumentsTest, languagesAreCheckedWhereverTheyComeFrom)
{
    EXPECT_NE(planProblem({"--set", "sourceLang=xx"}), "");
    EXPECT_NE(planProblem({"--set", "targetLang=auto"}), "");
    EXPECT_NE(planProblem({"--mode", "speak", "--set", "theirLang=auto"}), "");
    EXPECT_NE(planProblem({"--set", "myLang=tlh"}), "");
    EXPECT_EQ(planProblem({"--mode", "speak", "--set", "myLang=auto", "--to", "de"}), "");
    EXPECT_EQ(planProblem({"--mode", "both"}), "");
    EXPECT_NE(planProblem({"--mode", "both", "--set", "theirLang=auto"}), "") << "both pairs are used";
    EXPECT_FALSE(planFor(*parse({}), {{"targetLang", "zz"}}));
    EXPECT_TRUE(planFor(*parse({"--to", "es"}), {{"targetLang", "zz"}}));
    auto const written = planFor(*parse({"--from=EN", "--to=pt-BR", "--set", "myLang=en_US.UTF-8"}))->settings;
    EXPECT_EQ(written.sourceLang + written.targetLang + written.myLang, "enpten");
}

TEST_F(ArgumentsTest, theModeDecidesWhichPairAFileIsTranslatedBy)
{
    auto const speak = planFor(*parse({"--mode=speak", "--from=en", "--to=fr"}));
    ASSERT_TRUE(speak);
    EXPECT_EQ(speak->settings.speakRecord().sourceLang, "en");
    EXPECT_EQ(speak->settings.speakRecord().targetLang, "fr");
    EXPECT_EQ(speak->settings.targetLang, "vi"); // the listen pair is left alone
    auto const listen
        = planFor(*parse({"--to=fr", "--output", folder + "/o.wav"}), {{"mode", "listen"}, {"tts", false}});
    ASSERT_TRUE(listen);
    EXPECT_EQ(listen->settings.targetLang, "fr");
    EXPECT_TRUE(listen->settings.tts);
    EXPECT_FALSE(planFor(*parse({"--output", folder + "/o.wav", "--set", "tts=false"}))->settings.tts);
}

TEST_F(ArgumentsTest, whereTheVoiceGoesDecidesWhetherTheOriginalIsSilenced)
{
    using Output = Arguments::Output;
    std::map<std::string, Json> const muting = {{"muteOriginal", true}, {"mode", "listen"}};
    auto const file = planFor(*parse({}), muting);
    EXPECT_FALSE(file->live);
    EXPECT_FALSE(file->usesDevices()) << "nothing of the machine's sound is touched";
    EXPECT_EQ(file->output, Output::none);
    auto const live = [&](std::vector<std::string> words) {
        words.insert(words.begin(), "translate");
        return *planFor(*Arguments::parse(words), muting);
    };
    EXPECT_TRUE(live({}).live);
    EXPECT_EQ(live({}).output, Output::device);
    EXPECT_TRUE(live({}).settings.muteOriginal);
    EXPECT_FALSE(live({"--output", "none"}).settings.muteOriginal) << "nothing would be heard at all";
    EXPECT_TRUE(live({"--output", "none", "--set", "muteOriginal=true"}).settings.muteOriginal);
    EXPECT_TRUE(planFor(*parse({"--output", "device"}))->usesDevices());
    EXPECT_TRUE(planFor(*parse({"--mode", "both"}))->usesDevices()) << "the microphone speaks";
    auto const say = *planFor(*Arguments::parse(std::vector<std::string>{"say", "Good day", "--to", "fr"}), muting);
    EXPECT_EQ(say.settings.theirLang, "fr");
    EXPECT_EQ(say.output, Output::device);
}

TEST_F(ArgumentsTest, aPresetYieldsToWhatIsAskedForBesideIt)
{
    auto const plan = planFor(*parse({"--preset=inPerson", "--set", "echoGuard=false"}), {{"muteOriginal", true}});
    ASSERT_TRUE(plan);
    EXPECT_EQ(plan->settings.mode, AppSettings::Mode::speak);
    EXPECT_FALSE(plan->settings.muteOriginal);
    EXPECT_FALSE(plan->settings.echoGuard);
    EXPECT_EQ(planFor(*parse({"--preset=inPerson", "--mode=listen"}))->settings.mode, AppSettings::Mode::listen);
}

TEST_F(ArgumentsTest, theLocalServiceFillsWhatNobodyNamed)
{
    Hosts const local{"ws://127.0.0.1:5", "ws://127.0.0.1:5", "http://127.0.0.1:5/v1", "http://127.0.0.1:5"};
    auto const none = planFor(*parse({}));
    EXPECT_TRUE(none->localService);
    EXPECT_EQ(none->hostsWith(local).stt, local.stt);
    auto const backend = planFor(*parse({"--backend-url", "http://127.0.0.1:7"}));
    EXPECT_FALSE(backend->localService);
    EXPECT_EQ(backend->hosts.backend, "http://127.0.0.1:7");
    EXPECT_TRUE(backend->hosts.stt.starts_with("wss://")); // its keys are for the provider
    auto const stt = planFor(*parse({"--stt-url", "ws://127.0.0.1:8"}));
    EXPECT_TRUE(stt->localService);
    EXPECT_EQ(stt->hostsWith(local).stt, "ws://127.0.0.1:8");
    EXPECT_EQ(stt->hostsWith(local).backend, local.backend);
    auto const key = planFor(*parse({"--set", "k.soniox=key"}), {{"host.tts", "ws://127.0.0.1:9"}});
    EXPECT_TRUE(key->ownKey);
    EXPECT_FALSE(key->localService);
    EXPECT_EQ(key->hosts.tts, "ws://127.0.0.1:9");
    EXPECT_FALSE(planFor(*parse({}), {{"host.stt", "ws://example.com"}}));
    // Nobody hears the user whom a damaged store may have ruled out.
    auto const damaged = [](char const* lost) {
        return std::map<std::string, Json>{{Defaults::lostKey, Json::array({lost})}};
    };
    EXPECT_FALSE(planFor(*parse({}), damaged("k.soniox")));
    EXPECT_FALSE(planFor(*parse({"--set", "k.soniox=key"}), damaged("host.stt")));
    EXPECT_TRUE(planFor(*parse({"--set", "k.soniox=key"}), damaged("k.soniox")));
    EXPECT_TRUE(planFor(*parse({}), damaged("tts")));
    Registry registry;
    registry.put<Defaults>(std::make_shared<SimDefaults>()).set(Defaults::lostKey, Json::array({"k.soniox"}));
    EXPECT_EQ(HostPlan::make({}).hostsWith(local).stt, "");
}

TEST_F(ArgumentsTest, valuesForThisRunNeverReachTheStore)
{
    auto stored = std::make_unique<SimDefaults>();
    auto& store = *stored;
    OverlaidDefaults overlaid(
        std::move(stored), {{"k.soniox", Json("key")}, {"tts", Json(true)}, {"tts", Json(false)}});
    overlaid.set("k.soniox", "other");
    overlaid.set("pro.remainingSeconds", 5);
    EXPECT_EQ(overlaid.string("k.soniox"), "other");
    EXPECT_FALSE(overlaid.boolean("tts")); // the last one counts
    EXPECT_FALSE(store.value("k.soniox"));
    EXPECT_EQ(store.integer("pro.remainingSeconds"), 5);
}

} // namespace
