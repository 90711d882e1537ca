#include "desktop/WindowPlace.h"

#include "desktop/CaptionLayout.h"

#include <algorithm>
#include <cmath>

namespace lingrelay {

namespace {

constexpr double titleBar = 40; ///< the most that window managers put above a window
constexpr double border = 8; ///< and at its other sides

} // namespace

Rect WindowPlace::first(Rect const& screen, double wantedWidth, double wantedHeight)
{
    Rect const room{
        screen.x + border, screen.y + titleBar, screen.width - 2 * border, screen.height - titleBar - border};
    double const width = std::min(wantedWidth, room.width);
    double const height = std::min(wantedHeight, room.height);
    Rect const middle{
        std::round(room.x + (room.width - width) / 2), std::round(room.y + (room.height - height) / 2), width, height};
    auto const panel = CaptionLayout::defaultFrame(screen);
    auto const footIsFree = [&](Rect const& place) {
        return !panel.intersects({place.x, place.y + height - footHeight, footWidth, footHeight});
    };
    auto const fits = [&](Rect const& place) {
        return place.x >= room.x && place.y >= room.y && place.x + width <= room.x + room.width
            && place.y + height <= room.y + room.height;
    };
    auto best = middle;
    double least = footIsFree(middle) ? 0 : screen.width + screen.height;
    auto const consider = [&](double x, double y) {
        Rect const place{x, y, width, height};
        double const way = std::abs(x - middle.x) + std::abs(y - middle.y);
        if (way < least && fits(place) && footIsFree(place)) {
            least = way;
            best = place;
        }
    };
    consider(std::floor(panel.x - footWidth), middle.y); // left of the panel
    consider(middle.x, std::floor(panel.y - height)); // above it
    consider(middle.x, std::ceil(panel.y + panel.height - height + footHeight)); // below it
    return best;
}

} // namespace lingrelay
