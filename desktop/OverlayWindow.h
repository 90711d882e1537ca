#pragma once

#include <string>

namespace lingrelay {

/// The captions panel above all windows.
class OverlayWindow {
public:
    virtual ~OverlayWindow() = default;

    /// kind "original", "speak", or anything else for the translation; shows the panel. Any thread.
    virtual void update(std::string const& kind, std::string const& text) = 0;
    /// The status row; does not show a hidden panel. Any thread.
    virtual void showStatus(std::string const& text) = 0;
    virtual void orderFrontRegardless() = 0; ///< main
    virtual void orderOut() = 0; ///< main
};

} // namespace lingrelay
