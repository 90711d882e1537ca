#include "audio/Resampler.h"
#include "tests/support/Tones.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

std::vector<float> resampled(std::vector<float> const& input, std::int64_t from, std::int64_t to, std::size_t piece)
{
    Resampler resampler(from, to);
    std::vector<float> output;
    for (std::size_t start = 0; start < input.size(); start += piece)
        resampler.push(std::span(input).subspan(start, std::min(piece, input.size() - start)), output);
    resampler.finish(output);
    return output;
}

TEST(ResamplerTest, speechPassesUnchangedAndNothingFoldsBackIntoIt)
{
    for (int const rate : {8000, 11025, 22050, 44100, 48000, 96000, 44099, 192000}) {
        auto const heard = resampled(tone(1000, rate, 0.5), rate, 16000, 777);
        auto const wanted = tone(1000, 16000, static_cast<double>(heard.size()) / 16000.0);
        double worst = 0;
        for (std::size_t i = heard.size() / 10; i < heard.size() * 9 / 10; ++i)
            worst = std::max(
                worst, std::abs(static_cast<double>(heard[i]) - wanted[i])); // level, phase and delay at once
        EXPECT_LT(worst, 0.001) << rate;
        EXPECT_EQ(heard.size(), static_cast<std::size_t>(std::ceil(std::floor(rate * 0.5) * 16000.0 / rate))) << rate;
    }
    for (int const rate : {22050, 44100, 48000, 44099}) {
        for (double const frequency : {8600.0, 9500.0, 10900.0})
            EXPECT_LT(levelOf(resampled(tone(frequency, rate, 0.5), rate, 16000, 777)), -75)
                << rate << ' ' << frequency;
    }
    EXPECT_GT(levelOf(resampled(tone(6500, 48000, 0.5), 48000, 16000, 777)), -9.2); // -9.03 is untouched
}

TEST(ResamplerTest, piecesAndRestartsMakeNoDifference)
{
    auto const input = tone(440, 44100, 0.4);
    auto const whole = resampled(input, 44100, 16000, input.size());
    EXPECT_EQ(resampled(input, 44100, 16000, 1), whole);
    Resampler resampler(44100, 16000);
    resampler.restart(3000);
    std::vector<float> rest;
    resampler.push(std::span(input).subspan(static_cast<std::size_t>(resampler.firstInput(3000))), rest);
    resampler.finish(rest);
    EXPECT_EQ(rest, std::vector<float>(whole.begin() + 3000, whole.end()));
}

} // namespace

} // namespace lingrelay
