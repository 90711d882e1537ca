#pragma once

#include "model/CaptionKind.h"

#include <string>

namespace lingrelay {

/// The captions panel above all windows.
class OverlayWindow {
public:
    virtual ~OverlayWindow() = default;

    /// Shows the panel, unless the user has switched it off. Any thread.
    virtual void update(CaptionKind kind, std::string const& text) = 0;
    /// The status row; does not show a hidden panel. Any thread.
    virtual void showStatus(std::string const& text) = 0;
    /// Shows the panel, also one that is switched off; main.
    virtual void orderFrontRegardless() = 0;
    virtual void orderOut() = 0; ///< main
};

} // namespace lingrelay
