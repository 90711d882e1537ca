#include "audio/Meter.h"
#include "audio/PcmConversion.h"

#include <cmath>
#include <cstring>
#include <limits>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

int converted(float sample)
{
    auto const bytes = convertToInt16({&sample, 1});
    return static_cast<std::int16_t>(
        static_cast<unsigned char>(bytes[0]) | (static_cast<unsigned char>(bytes[1]) << 8));
}

std::string pcm(std::vector<std::int16_t> const& samples)
{
    return {reinterpret_cast<char const*>(samples.data()), samples.size() * 2};
}

TEST(PcmTest, fullScaleMapsOntoBothEndsAndTheRestIsTruncated)
{
    auto const nan = std::numeric_limits<float>::quiet_NaN();
    auto const infinity = std::numeric_limits<float>::infinity();
    for (auto const& [sample, expected] : std::vector<std::pair<float, int>>{{1.0F, 32767}, {7.0F, 32767},
             {-1.0F, -32768}, {-1.5F, -32768}, {0.5F, 16383}, {-0.5F, -16384}, {0.0F, 0}, {-0.00001F, 0}, {nan, 32767},
             {infinity, 32767}, {-infinity, -32768}})
        EXPECT_EQ(converted(sample), expected) << sample;
    EXPECT_TRUE(convertToInt16({}).empty());
}

TEST(PcmTest, theMeterLooksAtEveryFourthSampleAndFallsByItsDecay)
{
    Meter meter;
    EXPECT_EQ(meter.feed(pcm({0, 32767, 32767, 32767})), 0);
    auto const half = meter.feed(pcm({0, 0, 0, 0, -16384}));
    EXPECT_NEAR(half, std::pow(0.5, 0.6), 1e-9);
    EXPECT_NEAR(meter.feed(pcm({0})), half * 0.72, 1e-9);
    EXPECT_NEAR(meter.feed("x"), half * 0.72 * 0.72, 1e-9) << "fewer than two bytes are a peak of 0";
    Meter full;
    EXPECT_NEAR(full.feed(pcm({-32768})), std::pow(32767 / 32768.0, 0.6), 1e-12);
}

} // namespace

} // namespace lingrelay
