#pragma once

#include "platform/StatusItem.h"

#include <QAbstractNativeEventFilter>
#include <QIcon>
#include <QMenu>
#include <QObject>
#include <QString>

#include <memory>

class QSystemTrayIcon;

namespace lingrelay {

/// A tray icon, by StatusNotifier or in the old way, whichever the desktop has; needs a QApplication. Without a tray
/// nothing is seen, and one that appears later is used.
class QtStatusItem final : public QObject, public StatusItem, QAbstractNativeEventFilter {
public:
    QtStatusItem(QIcon idle, QIcon active, QString toolTip);
    ~QtStatusItem() override;

    bool available() const override;
    void setVisible(bool visible) override;
    bool visible() const override { return m_visible; }
    void setActive(bool active) override;
    void setMenu(std::vector<Item> items) override;

private:
    void make();
    bool nativeEventFilter(QByteArray const& kind, void* event, qintptr* result) override;

    QIcon m_idle;
    QIcon m_activeIcon;
    QString m_toolTip;
    bool m_visible = true;
    bool m_active = false;
    QMenu m_menu;
    bool m_notifierHost = false; ///< there is a tray of the new kind
    std::unique_ptr<QSystemTrayIcon> m_icon; ///< none before there is a tray
};

} // namespace lingrelay
