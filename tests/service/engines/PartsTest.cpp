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

/// Root mean square of the middle, without the filter's ends.
double level(std::vector<std::int16_t> const& samples)
{
    double sum = 0;
    auto const edge = samples.size() / 5;
    for (std::size_t i = edge; i < samples.size() - edge; ++i)
        sum += static_cast<double>(samples[i]) * samples[i];
    return std::sqrt(sum / static_cast<double>(samples.size() - 2 * edge));
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
    EXPECT_LT(level(resampled(44100, 16000, tone(44100, 12000, 0.3), 500)), 20);
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

struct ConfigCase {
    char const* name;
    Json change; ///< merged into a good configuration; null removes a key
    int code; ///< 0: accepted
    char const* text; ///< of the target, or part of the error
};

class SttConfigTest : public testing::TestWithParam<ConfigCase> { };

TEST_P(SttConfigTest, isAcceptedOrRefusedInWords)
{
    auto const& one = GetParam();
    Json message = {{"model", "m"}, {"audio_format", "pcm_s16le"}, {"sample_rate", 16000}, {"num_channels", 1},
        {"translation", {{"type", "one_way"}, {"target_language", "es"}}}, {"language_hints", {"en", "es"}}};
    message.merge_patch(one.change);
    auto const config = SttConfig::parse(message, {"ca", "es"}, {});
    if (auto const* error = std::get_if<ProtocolError>(&config)) {
        EXPECT_EQ(error->code, one.code);
        EXPECT_NE(error->message.find(one.text), std::string::npos) << error->message;
    } else {
        EXPECT_EQ(one.code, 0);
        EXPECT_EQ(std::get<SttConfig>(config).target.value_or("none"), one.text);
    }
}

constexpr auto onlyEnglish = "recognises English only. It translates English to: Catalan (ca), Spanish (es).";

INSTANTIATE_TEST_SUITE_P(Messages, SttConfigTest,
    testing::Values(ConfigCase{"plain", Json::object(), 0, "es"},
        ConfigCase{"hintOfTheTargetAlone", {{"language_hints", {"es"}}}, 0, "es"},
        ConfigCase{"noTranslation", {{"translation", nullptr}}, 0, "none"},
        ConfigCase{
            "sameLanguage", {{"translation", {{"target_language", "en"}}}, {"language_hints", {"en", "en"}}}, 0, "en"},
        ConfigCase{"otherSource", {{"language_hints", {"vi", "es"}}}, 400, onlyEnglish},
        ConfigCase{"otherSourceIntoEnglish",
            {{"translation", {{"target_language", "en"}}}, {"language_hints", {"vi", "en"}}}, 400, onlyEnglish},
        ConfigCase{"unknownSourceIntoEnglish",
            {{"translation", {{"target_language", "en"}}}, {"language_hints", {"en"}}}, 0, "en"},
        ConfigCase{"otherTarget", {{"translation", {{"target_language", "vi"}}}}, 400, onlyEnglish},
        ConfigCase{
            "twoWay", {{"translation", {{"type", "two_way"}, {"language_a", "ca"}, {"language_b", "en"}}}}, 0, "ca"},
        ConfigCase{"twoWayOthers",
            {{"translation", {{"type", "two_way"}, {"language_a", "auto"}, {"language_b", "es"}}}}, 400, onlyEnglish},
        ConfigCase{"format", {{"audio_format", "mp3"}}, 400, "pcm_s16le"},
        ConfigCase{"rate", {{"sample_rate", 7999}}, 400, "sample_rate"},
        ConfigCase{"rateOfText", {{"sample_rate", "16000"}}, 400, "sample_rate"},
        ConfigCase{"stereo", {{"num_channels", 2}}, 400, "num_channels"},
        ConfigCase{"noModel", {{"model", nullptr}}, 400, "model"},
        ConfigCase{"translationOfText", {{"translation", "es"}}, 400, "translation"},
        ConfigCase{"contextThatFits", {{"context", {{"text", std::string(9999, 'a')}, {"terms", {"é"}}}}}, 0, "es"},
        ConfigCase{"context", {{"context", {{"text", std::string(10000, 'a')}, {"terms", {"é"}}}}}, 400,
            "Context is too long (max length 10000)."}),
    [](auto const& test) { return test.param.name; });

} // namespace
} // namespace lingrelay::service
