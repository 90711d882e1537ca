#include "desktop/PanelDrag.h"

#include "desktop/CaptionLayout.h"

#include <algorithm>

namespace lingrelay {

PanelDrag::Edges PanelDrag::edgesAt(double x, double y, double width, double height, double reach)
{
    return {x < reach, y < reach, x >= width - reach, y >= height - reach};
}

Rect PanelDrag::frameAfter(double dx, double dy) const
{
    auto frame = m_start;
    if (!m_edges.any()) {
        frame.x += dx;
        frame.y += dy;
        return frame;
    }
    auto const pull = [](double size, double by, double minimum, double maximum) {
        return std::clamp(size + by, minimum, maximum);
    };
    if (m_edges.left || m_edges.right)
        frame.width
            = pull(m_start.width, m_edges.right ? dx : -dx, CaptionLayout::minimumWidth, CaptionLayout::maximumWidth);
    if (m_edges.top || m_edges.bottom)
        frame.height = pull(
            m_start.height, m_edges.bottom ? dy : -dy, CaptionLayout::minimumHeight, CaptionLayout::maximumHeight);
    if (m_edges.left && !m_edges.right)
        frame.x = m_start.x + m_start.width - frame.width;
    if (m_edges.top && !m_edges.bottom)
        frame.y = m_start.y + m_start.height - frame.height;
    return frame;
}

} // namespace lingrelay
