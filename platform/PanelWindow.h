#pragma once

#include <functional>
#include <vector>

namespace lingrelay {

/// A place on the desktop in points: x to the right and y down, from the top left corner of the first screen.
struct Rect {
    double x = 0;
    double y = 0;
    double width = 0;
    double height = 0;

    bool intersects(Rect const& other) const
    {
        return x < other.x + other.width && other.x < x + width && y < other.y + other.height && other.y < y + height;
    }
    bool operator==(Rect const&) const = default;
};

/// A window without a frame above all others, full-screen ones too, on every desktop; it never takes the focus. Main.
class PanelWindow {
public:
    virtual ~PanelWindow() = default;

    /// After each change of the frame, by the user or by `setFrame`; at each step of a drag.
    std::function<void()> onFrameChanged;

    /// Screens have come, gone or changed.
    std::function<void()> onScreensChanged;

    virtual Rect frame() const = 0;
    virtual void setFrame(Rect frame) = 0;
    /// In front of all others.
    virtual void show() = 0;
    virtual void hide() = 0;

    /// What is left of each screen beside docks and bars; the first one is the main screen's. None without a screen.
    virtual std::vector<Rect> screens() const = 0;
};

} // namespace lingrelay
