#include "desktop/StatusMenu.h"

#include "base/Registry.h"
#include "config/L10n.h"
#include "config/Preset.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Action = StatusMenu::Action;

} // namespace

TEST(StatusMenuTest, tellsTheStateAndTheScenarioOfARunAlone)
{
    Registry registry;
    auto& language = registry.put(std::make_shared<UiLanguage>());
    auto const state
        = [](bool running, std::string const& preset) { return StatusMenu::items(running, preset)[0].title; };
    EXPECT_EQ(state(false, "watchVideo"), "Lingrelay Pro — Idle");
    EXPECT_EQ(state(true, "watchVideo"), "Lingrelay Pro — Translating · " + title(Preset::watchVideo));
    for (auto const* none : {"", "unheard of", "WatchVideo"})
        EXPECT_EQ(state(true, none), "Lingrelay Pro — Translating") << none;
    // The window's language changes at once, the applied one when the settings are applied.
    language.setModelLanguage("vi");
    EXPECT_EQ(state(true, ""), "Lingrelay Pro — Đang dịch");
    EXPECT_EQ(StatusMenu::items(true, "")[3].title, "Stop translating");
    language.setLang("vi");
    EXPECT_EQ(StatusMenu::items(true, "")[3].title, "Dừng dịch");
    EXPECT_EQ(StatusMenu::items(false, "")[3].title, "Bắt đầu dịch");
}

TEST(StatusMenuTest, itsFirstItemCanNeverBeChosen)
{
    Registry registry;
    registry.put(std::make_shared<UiLanguage>());
    for (bool const running : {false, true}) {
        std::vector<Action> actions;
        for (auto const& item : StatusMenu::items(running, "videoCall"))
            actions.push_back(item.action);
        EXPECT_EQ(actions,
            (std::vector{
                Action::none, Action::none, Action::openWindow, Action::toggleRun, Action::none, Action::quit}));
        EXPECT_EQ(StatusMenu::items(running, "").back().key, "Ctrl+Q");
    }
}

} // namespace lingrelay
