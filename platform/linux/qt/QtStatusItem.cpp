#include "platform/linux/qt/QtStatusItem.h"

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QSystemTrayIcon>

namespace lingrelay {

QtStatusItem::QtStatusItem(QIcon idle, QIcon active, QString toolTip)
    : m_idle(std::move(idle))
    , m_activeIcon(std::move(active))
    , m_toolTip(std::move(toolTip))
{
    make();
    // Qt decides once how an icon is shown; a host that comes later gets a new one.
    auto* const watcher = new QDBusServiceWatcher(QStringLiteral("org.kde.StatusNotifierWatcher"),
        QDBusConnection::sessionBus(), QDBusServiceWatcher::WatchForRegistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { make(); });
}

QtStatusItem::~QtStatusItem() = default;

void QtStatusItem::make()
{
    m_icon = std::make_unique<QSystemTrayIcon>(m_active ? m_activeIcon : m_idle);
    m_icon->setToolTip(m_toolTip);
    m_icon->setContextMenu(&m_menu);
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger && onActivated)
            onActivated();
    });
    m_icon->setVisible(m_visible);
}

bool QtStatusItem::available() const { return QSystemTrayIcon::isSystemTrayAvailable(); }

void QtStatusItem::setVisible(bool visible)
{
    m_visible = visible;
    m_icon->setVisible(visible);
}

void QtStatusItem::setActive(bool active)
{
    m_active = active;
    m_icon->setIcon(active ? m_activeIcon : m_idle);
}

void QtStatusItem::setMenu(std::vector<Item> items)
{
    m_menu.clear();
    for (auto& item : items) {
        if (item.title.empty()) {
            m_menu.addSeparator();
            continue;
        }
        auto* const action = m_menu.addAction(QString::fromStdString(item.title));
        action->setEnabled(static_cast<bool>(item.action));
        if (item.action)
            connect(
                action, &QAction::triggered, this, [run = std::move(item.action)] { run(); }, Qt::QueuedConnection);
    }
}

} // namespace lingrelay
