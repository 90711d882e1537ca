#include "platform/linux/qt/QtStatusItem.h"

#include "platform/linux/qt/X11.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusServiceWatcher>
#include <QSystemTrayIcon>

namespace lingrelay {

namespace {

constexpr auto oldTray = "_NET_SYSTEM_TRAY_S0";

} // namespace

QtStatusItem::QtStatusItem(QIcon idle, QIcon active, QString toolTip)
    : m_idle(std::move(idle))
    , m_activeIcon(std::move(active))
    , m_toolTip(std::move(toolTip))
{
    auto const host = QStringLiteral("org.kde.StatusNotifierWatcher");
    auto const bus = QDBusConnection::sessionBus();
    auto* const watcher = new QDBusServiceWatcher(host, bus, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        m_notifierHost = true;
        make();
    });
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { m_notifierHost = false; });
    m_notifierHost = bus.isConnected() && bus.interface()->isServiceRegistered(host);
    QCoreApplication::instance()->installNativeEventFilter(this);
    make();
}

QtStatusItem::~QtStatusItem() { QCoreApplication::instance()->removeNativeEventFilter(this); }

/// Qt finds out once in a program's life which kind of tray there is, so it is not asked before there is one. When that
/// tray goes and another one comes, Qt shows the icon there itself.
void QtStatusItem::make()
{
    if (m_icon || !available())
        return;
    m_icon = std::make_unique<QSystemTrayIcon>(m_active ? m_activeIcon : m_idle);
    m_icon->setToolTip(m_toolTip);
    m_icon->setContextMenu(&m_menu);
    connect(m_icon.get(), &QSystemTrayIcon::activated, this, [this](QSystemTrayIcon::ActivationReason reason) {
        if (reason == QSystemTrayIcon::Trigger && onActivated)
            onActivated();
    });
    m_icon->setVisible(m_visible);
}

bool QtStatusItem::available() const { return m_notifierHost || x11::isOwned(oldTray); }

/// A tray of the old kind announces itself to all windows.
bool QtStatusItem::nativeEventFilter(QByteArray const& kind, void* event, qintptr*)
{
    auto const* const message = static_cast<xcb_client_message_event_t const*>(event);
    if (kind != "xcb_generic_event_t" || (message->response_type & 0x7f) != XCB_CLIENT_MESSAGE || m_icon)
        return false;
    auto* const server = x11::connection();
    if (message->type == x11::atom(server, "MANAGER") && message->data.data32[1] == x11::atom(server, oldTray))
        QMetaObject::invokeMethod(this, &QtStatusItem::make, Qt::QueuedConnection);
    return false;
}

void QtStatusItem::setVisible(bool visible)
{
    m_visible = visible;
    if (m_icon)
        m_icon->setVisible(visible);
}

void QtStatusItem::setActive(bool active)
{
    m_active = active;
    if (m_icon)
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
        // A menu that belongs to no window takes no keys.
        action->setShortcut(QKeySequence(QString::fromStdString(item.key)));
        action->setShortcutVisibleInContextMenu(true);
        if (item.action)
            connect(
                action, &QAction::triggered, this, [run = std::move(item.action)] { run(); }, Qt::QueuedConnection);
    }
}

} // namespace lingrelay
