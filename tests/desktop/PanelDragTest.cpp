#include "desktop/PanelDrag.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

constexpr Rect start{100, 200, 760, 150};

TEST(PanelDragTest, theMiddleMovesAndAnEdgeLeavesTheOppositeOneInPlace)
{
    auto const after = [](double x, double y, double dx, double dy) {
        auto const edges = PanelDrag::edgesAt(x, y, start.width, start.height, 6);
        return PanelDrag(edges, start).frameAfter(dx, dy);
    };
    EXPECT_EQ(after(300, 75, -20, 30), (Rect{80, 230, 760, 150}));
    EXPECT_EQ(after(755, 75, 40, 30), (Rect{100, 200, 800, 150}));
    EXPECT_EQ(after(2, 75, 40, 30), (Rect{140, 200, 720, 150}));
    EXPECT_EQ(after(300, 2, 40, 30), (Rect{100, 230, 760, 120}));
    EXPECT_EQ(after(759, 149, 40, 30), (Rect{100, 200, 800, 180}));
}

TEST(PanelDragTest, noPullMakesItSmallerThanItMayBe)
{
    EXPECT_EQ(PanelDrag({.right = true, .bottom = true}, start).frameAfter(-5000, -5000), (Rect{100, 200, 280, 64}));
    EXPECT_EQ(PanelDrag({.left = true, .top = true}, start).frameAfter(5000, 5000), (Rect{580, 286, 280, 64}));
    EXPECT_EQ(PanelDrag({.right = true, .bottom = true}, start).frameAfter(9000, 9000), (Rect{100, 200, 4000, 2000}));
}

} // namespace

} // namespace lingrelay
