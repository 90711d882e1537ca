#include "platform/linux/qt/QtPanelWindow.h"

#include <QGuiApplication>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>

namespace lingrelay {

namespace {

xcb_connection_t* x11()
{
    auto const* native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return native ? native->connection() : nullptr;
}

/// Does anybody mix translucent windows with what is behind them?
bool composited()
{
    auto* const connection = x11();
    if (!connection)
        return true;
    constexpr char name[] = "_NET_WM_CM_S0";
    auto* const atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name), nullptr);
    if (!atom)
        return false;
    auto* const owner
        = xcb_get_selection_owner_reply(connection, xcb_get_selection_owner(connection, atom->atom), nullptr);
    bool const owned = owner && owner->owner != XCB_NONE;
    std::free(owner);
    std::free(atom);
    return owned;
}

Rect toRect(QRect const& rect)
{
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
        static_cast<double>(rect.height())};
}

} // namespace

QtPanelWindow::QtPanelWindow(QWindow& window, int radius) : m_window(&window), m_radius(radius)
{
    auto flags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
    if (x11())
        flags |= Qt::BypassWindowManagerHint;
    window.setFlags(flags);
    connect(&window, &QWindow::xChanged, this, &QtPanelWindow::changed);
    connect(&window, &QWindow::yChanged, this, &QtPanelWindow::changed);
    connect(&window, &QWindow::widthChanged, this, &QtPanelWindow::changed);
    connect(&window, &QWindow::heightChanged, this, &QtPanelWindow::changed);
    auto const tell = [this] {
        if (onScreensChanged)
            onScreensChanged();
    };
    auto const watch
        = [this, tell](QScreen* screen) { connect(screen, &QScreen::availableGeometryChanged, this, tell); };
    for (auto* const screen : QGuiApplication::screens())
        watch(screen);
    connect(qGuiApp, &QGuiApplication::screenAdded, this, [watch, tell](QScreen* screen) {
        watch(screen);
        tell();
    });
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, tell, Qt::QueuedConnection);
}

Rect QtPanelWindow::frame() const { return m_window ? toRect(m_window->geometry()) : m_last; }

void QtPanelWindow::setFrame(Rect frame)
{
    if (!m_window)
        return;
    m_window->setGeometry(QRectF(frame.x, frame.y, frame.width, frame.height).toRect());
    changed();
}

void QtPanelWindow::show()
{
    if (!m_window)
        return;
    shape();
    m_window->show();
    m_window->raise();
}

void QtPanelWindow::hide()
{
    if (m_window)
        m_window->hide();
}

std::vector<Rect> QtPanelWindow::screens() const
{
    std::vector<Rect> rects;
    auto const* const primary = QGuiApplication::primaryScreen();
    if (primary)
        rects.push_back(toRect(primary->availableGeometry()));
    for (auto const* const screen : QGuiApplication::screens()) {
        if (screen != primary)
            rects.push_back(toRect(screen->availableGeometry()));
    }
    return rects;
}

void QtPanelWindow::changed()
{
    auto const now = frame();
    if (now == m_last)
        return;
    bool const resized = now.width != m_last.width || now.height != m_last.height;
    m_last = now;
    if (resized)
        shape();
    if (onFrameChanged)
        onFrameChanged();
}

/// Where corners cannot be translucent they are cut off. A compositor may come and go.
void QtPanelWindow::shape()
{
    auto const cut = composited() ? QSize() : m_window->size();
    if (cut == m_cut)
        return;
    m_cut = cut;
    QPainterPath path;
    if (!cut.isEmpty())
        path.addRoundedRect(QRectF(QPointF(), QSizeF(cut)), m_radius, m_radius);
    m_window->setMask(QRegion(path.toFillPolygon().toPolygon()));
}

} // namespace lingrelay
