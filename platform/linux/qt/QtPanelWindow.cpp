#include "platform/linux/qt/QtPanelWindow.h"

#include "platform/linux/qt/X11.h"

#include <QGuiApplication>
#include <QPainterPath>
#include <QRegion>
#include <QScreen>

namespace lingrelay {

namespace {

constexpr auto answerPulse = std::chrono::milliseconds(20);

Rect toRect(QRect const& rect)
{
    return {static_cast<double>(rect.x()), static_cast<double>(rect.y()), static_cast<double>(rect.width()),
        static_cast<double>(rect.height())};
}

} // namespace

QtPanelWindow::QtPanelWindow(QWindow& window, int radius) : m_window(&window), m_radius(radius)
{
    m_answer.setInterval(answerPulse);
    connect(&m_answer, &QTimer::timeout, this, &QtPanelWindow::takeAnswer);
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
    m_window->show();
    m_window->raise();
    askCompositor();
}

/// A compositor may come and go, so it is looked for with every caption, and none waits for the answer.
void QtPanelWindow::askCompositor()
{
    if (!x11::connection())
        return;
    m_compositor.ask();
    m_answer.start();
}

void QtPanelWindow::takeAnswer()
{
    if (!m_compositor.answered())
        return;
    m_answer.stop();
    if (m_window)
        shape();
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

/// Where corners cannot be translucent they are cut off.
void QtPanelWindow::shape()
{
    bool const composited = !x11::connection() || m_compositor.owned();
    auto const cut = composited ? QSize() : m_window->size();
    if (cut == m_cut)
        return;
    m_cut = cut;
    QPainterPath path;
    if (!cut.isEmpty())
        path.addRoundedRect(QRectF(QPointF(), QSizeF(cut)), m_radius, m_radius);
    m_window->setMask(QRegion(path.toFillPolygon().toPolygon()));
}

} // namespace lingrelay
