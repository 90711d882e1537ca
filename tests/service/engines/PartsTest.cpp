#include "service/Arguments.h"
#include "service/engines/Resampler.h"
#include "service/engines/Translator.h"
#include "service/engines/Voices.h"
#include "service/wire/SttConfig.h"

#include <numbers>

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

std::vector<std::int16_t> tone(int rate, double frequency, double seconds)
{
    std::vector<std::int16_t> samples(static_cast<std::size_t>(rate * seconds));
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<std::int16_t>(
            10000 * std::sin(2 * std::numbers::pi * frequency * static_cast<double>(i) / rate));
    return samples;
}

std::vector<std::int16_t> resampled(int from, int to, std::vector<std::int16_t> const& input, std::size_t block)
{
    Resampler resampler(from, to);
    std::vector<std::int16_t> output;
    for (std::size_t at = 0; at < input.size(); at += block) {
        auto const part = resampler.add(std::span(input).subspan(at, std::min(block, input.size() - at)));
        output.insert(output.end(), part.begin(), part.end());
    }
    auto const rest = resampler.finish();
    output.insert(output.end(), rest.begin(), rest.end());
    return output;
}

TEST(Resampler, keepsLengthLevelAndPhaseForEveryRate)
{
    for (auto const& [from, to] : {std::pair(22050, 24000), std::pair(44100, 16000), std::pair(8000, 16000),
             std::pair(48000, 16000), std::pair(11025, 16000), std::pair(47999, 16000)}) {
        auto const output = resampled(from, to, tone(from, 440, 0.5), 331);
        auto const wanted = tone(to, 440, 0.5);
        EXPECT_NEAR(static_cast<double>(output.size()), static_cast<double>(wanted.size()), 1) << from;
        double worst = 0;
        for (std::size_t i = 400; i + 400 < std::min(output.size(), wanted.size()); ++i)
            worst = std::max(worst, std::abs(static_cast<double>(output[i]) - wanted[i]));
        EXPECT_LT(worst, 100) << from << " to " << to;
    }
}

TEST(Resampler, blocksDoNotMatterAndHighTonesDoNotFold)
{
    auto const input = tone(44100, 1000, 0.2);
    EXPECT_EQ(resampled(44100, 16000, input, 1), resampled(44100, 16000, input, 5000));
    auto const high = resampled(44100, 16000, tone(44100, 12000, 0.3), 500);
    for (auto i = high.size() / 5; i < high.size() - high.size() / 5; ++i) // away from the filter's ends
        ASSERT_LT(std::abs(high[i]), 60) << i;
}

TEST(WavReader, takesAnyCutOfTheStream)
{
    std::string const sound = "\x01\x02\x03\x04\x05\x06";
    std::string const wav
        = std::string("RIFF\xff\xff\xff\x7fWAVEfmt \x10\0\0\0\x01\0\x01\0\x22\x56\0\0\x44\xac\0\0\x02\0\x10\0", 36)
        + std::string("data\0\xf0\xff\x7f", 8) + sound;
    for (std::size_t block : {1u, 3u, 50u, 1000u}) {
        WavReader reader;
        std::vector<std::int16_t> samples;
        for (std::size_t at = 0; at < wav.size(); at += block) {
            for (auto const sample : reader.add(std::string_view(wav).substr(at, block)))
                samples.push_back(sample);
        }
        EXPECT_EQ(reader.rate(), 22050);
        EXPECT_EQ(samples, (std::vector<std::int16_t>{0x0201, 0x0403, 0x0605}));
    }
}

TEST(Voices, tableGivesShortCodesAndPlainVariants)
{
    auto const languages = readVoiceTable("Pty Language       Age/Gender VoiceName          File\n"
                                          " 5  cmn             --/M      Chinese_(Mandarin) sit/cmn\n"
                                          " 5  en-gb           --/M      English_(GB)       gmw/en\n"
                                          " 2  en-us           --/M      English_(US)       gmw/en-US\n"
                                          " 5  pt-br           --/M      Portuguese_(Br)    roa/pt-BR\n"
                                          " 5  pt              --/M      Portuguese         roa/pt\n"
                                          " 5  nb              --/M      Norwegian          gmq/nb\n");
    EXPECT_EQ(
        languages, (std::map<std::string, std::string>{{"en", "en-us"}, {"no", "nb"}, {"pt", "pt"}, {"zh", "cmn"}}));
    EXPECT_STREQ(Voices::find("daniel")->name, "Daniel");
    EXPECT_EQ(Voices::find("Dan"), nullptr);
}

TEST(Translator, pipelinesFlushAndUnknownProgramsAreLeftOut)
{
    EXPECT_EQ(flushingPipeline("lt-proc 'a.bin' | apertium-tagger -g $2 'b' | lt-proc $1 'c'\n"),
        "lt-proc -z 'a.bin' | apertium-tagger -z -g  'b' | lt-proc -z -n 'c'");
    EXPECT_FALSE(flushingPipeline("lt-proc 'a' | autobil.sh"));
    EXPECT_FALSE(flushingPipeline(" \n"));
}

TEST(Translator, textCannotBreakThePipelinesSyntax)
{
    EXPECT_EQ(pipelineText(" He [was] ^here$\\ \n"), "He  was   here.[][\n]");
    EXPECT_EQ(pipelineText("Really?"), "Really?[][\n]");
    EXPECT_EQ(plainTranslation("No  fue.[][\n]", true), "No fue.");
    EXPECT_EQ(plainTranslation("No fue.[][\n]", false), "No fue");
    EXPECT_EQ(plainTranslation("", false), "");
}

TEST(Arguments, wrongOnesSayWhatToDo)
{
    auto const complaint = [](std::vector<std::string> const& words) {
        auto const arguments = Arguments::parse(words);
        return arguments ? "none" : arguments.error().message;
    };
    EXPECT_EQ(complaint({"--port", "70000"}), "--port takes a number from 0 to 65535, not \"70000\"");
    EXPECT_EQ(complaint({"--port"}), "--port needs a value: see lingrelay-service --help");
    EXPECT_EQ(complaint({"--engines", "script"}), "--engines script needs a script: add --script FILE");
    EXPECT_EQ(complaint({"--script", "/no/such"}), "the script /no/such cannot be read: No such file or directory");
    EXPECT_EQ(complaint({"--seconds", "-5"}), "--seconds takes a number from 0 to 1000000000, not \"-5\"");
    EXPECT_EQ(complaint({"--full=1"}), "unknown argument \"1\": see lingrelay-service --help");
    EXPECT_EQ(complaint({"--prot", "1"}), "unknown argument \"--prot\": see lingrelay-service --help");
    EXPECT_EQ(Arguments::parse({"--port=81", "--engines=offline"})->port, 81);
    auto const arguments = Arguments::parse({"--full", "--seconds", "30"});
    EXPECT_EQ(arguments->sessions.remainingSeconds, 30);
    EXPECT_EQ(arguments->sessions.mostSessions, 0u);
}

/// A good configuration with a change, and what becomes of it: its target, or what the refusal says.
TEST(SttConfig, isAcceptedOrRefusedInWords)
{
    constexpr auto onlyEnglish = "recognises English only. It translates English to: Catalan (ca), Spanish (es).";
    struct Case {
        Json change; ///< null removes a key
        int code; ///< 0: accepted
        char const* text;
    };
    auto const translation = [](Json const& change) { return Json{{"translation", change}}; };
    auto const into = [&](char const* target, Json const& hints) {
        Json change = translation({{"target_language", target}});
        change["language_hints"] = hints;
        return change;
    };
    auto const twoWay = [&](char const* a, char const* b) {
        return translation({{"type", "two_way"}, {"language_a", a}, {"language_b", b}});
    };
    auto const context = [](std::size_t size) {
        return Json{{"context", {{"text", std::string(size, 'a')}, {"terms", {"é"}}}}};
    };
    std::vector<Case> const cases{{Json::object(), 0, "es"}, {into("es", {"es"}), 0, "es"},
        {translation(nullptr), 0, "none"}, {into("en", {"en", "en"}), 0, "en"}, {into("en", {"en"}), 0, "en"},
        {into("es", {"vi", "es"}), 400, onlyEnglish}, {into("en", {"vi", "en"}), 400, onlyEnglish},
        {into("vi", {"en"}), 400, onlyEnglish}, {twoWay("ca", "en"), 0, "ca"}, {twoWay("auto", "es"), 400, onlyEnglish},
        {{{"audio_format", "mp3"}}, 400, "pcm_s16le"}, {{{"sample_rate", 7999}}, 400, "sample_rate"},
        {{{"sample_rate", "16000"}}, 400, "sample_rate"}, {{{"num_channels", 2}}, 400, "num_channels"},
        {{{"model", nullptr}}, 400, "model"}, {translation("es"), 400, "translation"}, {context(9999), 0, "es"},
        {context(10000), 400, "Context is too long (max length 10000)."}};
    for (auto const& [change, code, text] : cases) {
        Json message = {{"model", "m"}, {"audio_format", "pcm_s16le"}, {"sample_rate", 16000}, {"num_channels", 1},
            {"translation", {{"type", "one_way"}, {"target_language", "es"}}}, {"language_hints", {"en", "es"}}};
        message.merge_patch(change);
        auto const config = SttConfig::parse(message, {"ca", "es"}, {});
        auto const* error = std::get_if<ProtocolError>(&config);
        EXPECT_EQ(error ? error->code : 0, code) << change;
        auto const said = error ? error->message : std::get<SttConfig>(config).target.value_or("none");
        EXPECT_NE(said.find(text), std::string::npos) << said;
    }
}

} // namespace
} // namespace lingrelay::service
