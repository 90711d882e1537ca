#include "desktop/Sections.h"

#include "base/Registry.h"
#include "config/L10n.h"
#include "desktop/StatusMenu.h"
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

TEST_F(SectionsTest, whatIsChosenOrAskedForIsShownAgainUnlessItIsUnknown)
{
    for (auto const* stored : {"no such section", "General"}) {
        defaults.set("sidebarSection", stored);
        EXPECT_STREQ(Sections(model).current().rawValue, "dashboard") << stored;
    }
    Sections sections(model);
    int told = 0;
    auto const watch = sections.chosen().observe([&](std::string const&) { ++told; });
    for (auto const* name : {"history", "history", "nowhere"})
        sections.choose(name);
    EXPECT_EQ(told, 1);
    EXPECT_STREQ(Sections(model).current().rawValue, "history");
    language.setModelLanguage("vi");
    EXPECT_EQ(sections.current().title(), "Lịch sử");
    model.requestedSection = "about";
    EXPECT_STREQ(sections.current().rawValue, "about");
    EXPECT_EQ(*model.requestedSection, std::nullopt) << "it is followed once";
    model.requestedSection = "nowhere";
    EXPECT_STREQ(sections.current().rawValue, "about");
    EXPECT_EQ(*model.requestedSection, "nowhere");
}

TEST_F(SectionsTest, theMenuTellsTheScenarioOfARunAloneInTheLanguageOfTheMoment)
{
    auto const titles = [](bool running, std::string const& preset) {
        auto const items = StatusMenu::items(running, preset);
        return items[0].title + "; " + items[3].title;
    };
    EXPECT_EQ(titles(false, "watchVideo"), "Lingrelay Pro — Idle; Start translating");
    EXPECT_EQ(titles(true, "WatchVideo"), "Lingrelay Pro — Translating; Stop translating") << "it is unheard of";
    // The window's language changes at once, the applied one when the settings are applied.
    language.setModelLanguage("vi");
    EXPECT_EQ(titles(true, ""), "Lingrelay Pro — Đang dịch; Stop translating");
    language.setLang("vi");
    EXPECT_EQ(titles(true, ""), "Lingrelay Pro — Đang dịch; Dừng dịch");
}

} // namespace

} // namespace lingrelay
