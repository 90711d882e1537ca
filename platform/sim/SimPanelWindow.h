#pragma once

#include "platform/PanelWindow.h"

namespace lingrelay {

/// A panel on simulated screens.
class SimPanelWindow final : public PanelWindow {
public:
    std::vector<Rect> visibleFrames{{0, 0, 1600, 1000}};
    bool shown = false;
    int shows = 0;

    Rect frame() const override { return m_frame; }
    void setFrame(Rect frame) override
    {
        bool const changed = frame != m_frame;
        m_frame = frame;
        if (changed && onFrameChanged)
            onFrameChanged();
    }
    void show() override
    {
        shown = true;
        ++shows;
    }
    void hide() override { shown = false; }
    std::vector<Rect> screens() const override { return visibleFrames; }

private:
    Rect m_frame;
};

} // namespace lingrelay
