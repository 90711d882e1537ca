#include "platform/linux/qt/QtPanelWindow.h"

#include "platform/linux/qt/X11.h"

#include <QGuiApplication>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>

namespace lingrelay {

namespace {

/// Does anybody mix translucent windows with what is behind them?
bool composited() { return !x11::connection() || x11::isOwned("_NET_WM_CM_S0"); }

Rect toRect(QRect const& rect)
{
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
        static_cast<double>(rect.height())};
}

} // namespace

QtPanelWindow::QtPanelWindow(QWindow& window, int radius) : m_window(&window), m_radius(radius)
{
    auto flags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint | Qt::WindowDoesNotAcceptFocus;
    if (x11::connection())
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
