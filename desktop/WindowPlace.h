#pragma once

#include "platform/PanelWindow.h"

namespace lingrelay {

/// Where the main window opens on a screen, without its frame. Points.
struct WindowPlace {
    /// At the foot of the sidebar, from the window's lower left corner: the run button and the room around it.
    static constexpr double footWidth = 232;
    static constexpr double footHeight = 68;

    /// As large as wanted where that fits, and as near to the middle as leaves the run button free of a captions panel
    /// that nobody has moved. Where no place does, in the middle.
    static Rect first(Rect const& screen, double wantedWidth, double wantedHeight);
};

} // namespace lingrelay
