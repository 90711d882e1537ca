#include "desktop/Sections.h"

#include "base/Registry.h"
#include "config/L10n.h"
#include "platform/sim/SimDefaults.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

class SectionsTest : public testing::Test {
protected:
    Registry registry;
    Defaults& defaults = registry.put<Defaults>(std::make_shared<SimDefaults>());
    UiLanguage& language = registry.put(std::make_shared<UiLanguage>());
    AppModel& model = registry.put(std::make_shared<AppModel>());
};

TEST_F(SectionsTest, theLastOneIsShownAgainAndWhatIsUnknownIsNot)
{
    for (auto const* stored : {"", "no such section", "voice", "General"}) {
        defaults.set("sidebarSection", stored);
        EXPECT_STREQ(Sections(model).current().rawValue, "dashboard") << stored;
    }
    {
        Sections sections(model);
        int told = 0;
        auto const watch = sections.chosen().observe([&](std::string const&) { ++told; });
        sections.choose("history");
        sections.choose("history");
        sections.choose("nowhere");
        EXPECT_EQ(told, 1);
        EXPECT_EQ(defaults.string("sidebarSection"), "history");
        EXPECT_EQ(sections.current().title(), "History");
        language.setModelLanguage("vi");
        EXPECT_EQ(sections.current().title(), "Lịch sử");
    }
    EXPECT_STREQ(Sections(model).current().rawValue, "history");
}

TEST_F(SectionsTest, aRequestIsFollowedOnceAndAnUnknownOneStays)
{
    Sections sections(model);
    model.requestedSection = "about";
    EXPECT_STREQ(sections.current().rawValue, "about");
    EXPECT_EQ(*model.requestedSection, std::nullopt);
    model.requestedSection = "nowhere";
    EXPECT_STREQ(sections.current().rawValue, "about");
    EXPECT_EQ(*model.requestedSection, "nowhere");
}

} // namespace

} // namespace lingrelay
