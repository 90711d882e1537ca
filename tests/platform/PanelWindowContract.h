#pragma once

#include "platform/PanelWindow.h"

#include <ostream>
#include <vector>

#include <gtest/gtest.h>

namespace lingrelay {

inline void PrintTo(Rect const& rect, std::ostream* out)
{
    *out << rect.x << "," << rect.y << " " << rect.width << " x " << rect.height;
}

/// What every panel window does. A World has `window`, and `settle()`, which lets all events come that will come.
template <class World> struct PanelWindowContract : testing::Test {
    World world;
};

TYPED_TEST_SUITE_P(PanelWindowContract);

TYPED_TEST_P(PanelWindowContract, aFrameThatIsSetHoldsAtOnceAndIsToldOnce)
{
    auto& window = this->world.window();
    std::vector<Rect> told;
    window.onFrameChanged = [&] { told.push_back(window.frame()); };
    Rect const hidden{120, 340, 500, 150};
    window.setFrame(hidden);
    EXPECT_EQ(window.frame(), hidden) << "before it is first shown";
    EXPECT_EQ(told, std::vector{hidden});
    window.setFrame(hidden);
    window.show();
    this->world.settle();
    EXPECT_EQ(window.frame(), hidden);
    EXPECT_EQ(told, std::vector{hidden}) << "nothing has changed since";

    Rect const far{-200, 900, 700, 300}; // partly off the screen
    window.setFrame(far);
    EXPECT_EQ(window.frame(), far);
    this->world.settle();
    EXPECT_EQ(window.frame(), far);
    EXPECT_EQ(told, (std::vector{hidden, far}));

    window.hide();
    this->world.settle();
    window.show();
    this->world.settle();
    EXPECT_EQ(window.frame(), far);
    EXPECT_EQ(told.size(), 2u);
}

TYPED_TEST_P(PanelWindowContract, manyStepsEndAtTheLastOne)
{
    auto& window = this->world.window();
    window.setFrame({100, 100, 500, 150});
    window.show();
    this->world.settle();
    std::vector<Rect> told;
    window.onFrameChanged = [&] { told.push_back(window.frame()); };
    std::vector<Rect> steps;
    for (double step = 1; step <= 40; ++step) {
        steps.push_back({100 + 3 * step, 100 + 5 * step, 500 + 2 * step, 150 + step});
        window.setFrame(steps.back());
    }
    this->world.settle();
    EXPECT_EQ(window.frame(), steps.back());
    ASSERT_GE(told.size(), steps.size());
    EXPECT_EQ(told.back(), steps.back());
}

TYPED_TEST_P(PanelWindowContract, theFirstScreenIsThere)
{
    auto const screens = this->world.window().screens();
    ASSERT_FALSE(screens.empty());
    EXPECT_EQ(screens.front(), (Rect{0, 0, 1600, 1000}));
}

REGISTER_TYPED_TEST_SUITE_P(
    PanelWindowContract, aFrameThatIsSetHoldsAtOnceAndIsToldOnce, manyStepsEndAtTheLastOne, theFirstScreenIsThere);

} // namespace lingrelay
