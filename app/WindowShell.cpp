#include "app/WindowShell.h"

#include "desktop/WindowPlace.h"
#include "ui/Bridge.h"

#include <QCoreApplication>
#include <QEventLoop>
#include <QScreen>
#include <QVariantMap>

#include <unistd.h>

namespace lingrelay {

void WindowShell::setLaunchAtLogin(bool on)
{
    writeLaunchAtLogin(on);
    Q_EMIT launchAtLoginChanged(); // also when it could not be written: the switch goes back
}

void WindowShell::showMainWindow()
{
    if (!m_window || std::exchange(m_ignoreNextShow, false))
        return;
    if (!std::exchange(m_placed, true)) // later it is where the user has put it
        place();
    if (m_window->windowStates() & Qt::WindowMinimized)
        m_window->setWindowStates(m_window->windowStates() & ~Qt::WindowMinimized);
    m_window->show();
    m_window->raise();
    m_window->requestActivate();
}

void WindowShell::place()
{
    auto const screen = m_window->screen()->availableGeometry();
    auto const place
        = WindowPlace::first({double(screen.x()), double(screen.y()), double(screen.width()), double(screen.height())},
            m_window->width(), m_window->height());
    auto const size = QSizeF(place.width, place.height).toSize();
    m_window->setMinimumSize(m_window->minimumSize().boundedTo(size));
    m_window->setGeometry(QRect(QPointF(place.x, place.y).toPoint(), size));
}

bool WindowShell::mayClose()
{
    if (hasStatusItem())
        return true;
    if (!running()) {
        quit();
        return true;
    }
    m_window->showMinimized(); // a session does not end because its window is in the way
    return false;
}

bool WindowShell::ask(
    std::string const& title, std::string const& body, std::string const& first, std::string const& second)
{
    if (!m_window || m_asking)
        return false;
    showMainWindow();
    QVariantMap const question{{QStringLiteral("title"), toQt(title)}, {QStringLiteral("body"), toQt(body)},
        {QStringLiteral("first"), toQt(first)}, {QStringLiteral("second"), toQt(second)}};
    QEventLoop loop;
    m_asking = &loop;
    QMetaObject::invokeMethod(m_window, "ask", Q_ARG(QVariant, question));
    return loop.exec() == 1;
}

void WindowShell::answer(bool first)
{
    if (auto* const loop = std::exchange(m_asking, nullptr)) // the first answer counts
        loop->exit(first ? 1 : 0);
}

void WindowShell::tearDownPresentations()
{
    if (m_window && m_asking)
        QMetaObject::invokeMethod(m_window, "endQuestion");
    answer(false);
}

void WindowShell::terminate() { QCoreApplication::quit(); }

void WindowShell::exit() { ::_exit(0); }

} // namespace lingrelay
