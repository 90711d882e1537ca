#include "model/AppModel.h"
#include "base/Uuid.h"
#include "tests/support/World.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

class AppModelTest : public testing::Test {
protected:
    World world;
    AppModel model;
};

TEST_F(AppModelTest, theTranscriptKeepsItsLast2000Lines)
{
    std::size_t publications = 0;
    auto const watch = model.transcript.observe([&](auto const&) { ++publications; });
    for (int i = 0; i <= 2000; ++i)
        model.log(AppModel::Direction::listen, "", std::to_string(i), "", world.main.date());
    ASSERT_EQ(model.transcript->size(), 2000U);
    EXPECT_EQ(model.transcript->front().translation, "1");
    EXPECT_EQ(publications, 2002U) << "the trim is told too";
}

TEST_F(AppModelTest, theActiveProfileIsOneThatExists)
{
    ContextProfile profile;
    profile.id = newUuid();
    model.profiles = std::vector{profile};
    model.activeProfileID = "B";
    EXPECT_FALSE(model.activeProfile());
    model.activeProfileID = profile.id;
    model.saveProfiles();
    EXPECT_EQ(AppModel().activeProfile(), profile);
    model.elapsed = 3725.9;
    EXPECT_EQ(model.elapsedString(), "01:02:05");
}

TEST_F(AppModelTest, observersComeAndGoWhileTheyAreTold)
{
    Observable<int> value{0};
    std::vector<std::string> told;
    Subscription second;
    Subscription third;
    auto const first = value.observe([&](int now) {
        told.push_back("first " + std::to_string(now));
        second = Subscription();
        if (told.size() == 1)
            third = value.observe([&](int later) { told.push_back("third " + std::to_string(later)); });
    });
    second = value.observe([&](int) { told.push_back("second"); });
    value = 1;
    value = 1;
    EXPECT_EQ(told, (std::vector<std::string>{"first 1", "first 1", "third 1"}))
        << "a dropped one is not told, a new one from the next time on, and equal values are told too";
}

} // namespace

} // namespace lingrelay
