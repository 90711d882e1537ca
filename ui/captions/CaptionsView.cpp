#include "ui/captions/CaptionsView.h"

#include <QCursor>

namespace lingrelay {

namespace {

constexpr double reach = 6; ///< points from an edge

} // namespace

void CaptionsView::follow(FloatingCaptions& captions, PanelWindow& window)
{
    m_window = &window;
    m_captions = &captions;
    auto const take = [this](FloatingCaptions::Content const& content) {
        m_content = content;
        Q_EMIT changed();
    };
    take(*captions.content());
    m_watch = captions.content().observe(take);
}

void CaptionsView::press(double x, double y, bool onGrip)
{
    if (!m_window)
        return;
    auto const frame = m_window->frame();
    auto const edges = onGrip ? PanelDrag::Edges{.right = true, .bottom = true}
                              : PanelDrag::edgesAt(x, y, frame.width, frame.height, reach);
    m_drag.emplace(edges, frame);
    m_pressed = QCursor::pos();
}

void CaptionsView::drag()
{
    if (!m_drag)
        return;
    auto const moved = QCursor::pos() - m_pressed;
    m_window->setFrame(m_drag->frameAfter(moved.x(), moved.y()));
}

void CaptionsView::resetPlace()
{
    m_drag.reset();
    if (m_captions)
        m_captions->resetPlace();
}

int CaptionsView::cursorAt(double x, double y) const
{
    if (!m_window)
        return Qt::ArrowCursor;
    auto const frame = m_window->frame();
    auto const edges = PanelDrag::edgesAt(x, y, frame.width, frame.height, reach);
    if ((edges.left && edges.top) || (edges.right && edges.bottom))
        return Qt::SizeFDiagCursor;
    if ((edges.right && edges.top) || (edges.left && edges.bottom))
        return Qt::SizeBDiagCursor;
    if (edges.left || edges.right)
        return Qt::SizeHorCursor;
    return edges.any() ? Qt::SizeVerCursor : Qt::ArrowCursor;
}

} // namespace lingrelay
