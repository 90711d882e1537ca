#pragma once

#include "platform/PanelWindow.h"

namespace lingrelay {

/// The user's hand on a panel: moves it, or pulls its edges while the opposite ones stay. Points.
class PanelDrag {
public:
    /// The edges that are pulled; without any, the panel moves.
    struct Edges {
        bool left = false;
        bool top = false;
        bool right = false;
        bool bottom = false;

        bool any() const { return left || top || right || bottom; }
    };

    /// Which edges a press at (x, y) of a panel takes hold of, within `reach` of them.
    static Edges edgesAt(double x, double y, double width, double height, double reach);

    PanelDrag(Edges edges, Rect frame) : m_edges(edges), m_start(frame) { }

    /// The frame after the pointer has gone this far from where it was pressed.
    Rect frameAfter(double dx, double dy) const;

private:
    Edges m_edges;
    Rect m_start;
};

} // namespace lingrelay
