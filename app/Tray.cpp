#include "app/Tray.h"

#include "desktop/StatusMenu.h"
#include "model/AppModel.h"

#include <QIcon>

namespace lingrelay {

namespace {

/// In the sizes of trays: one that is sent an icon of another size makes it blurred.
QIcon icon(char const* name)
{
    QIcon const drawing(QStringLiteral(":/qt/qml/Lingrelay/Controls/icons/%1.svg").arg(QString::fromLatin1(name)));
    QIcon drawn;
    for (int const size : {16, 22, 24, 32, 48})
        drawn.addPixmap(drawing.pixmap(QSize(size, size), 1.0));
    return drawn;
}

} // namespace

void Tray::build(bool running)
{
    if (!m_item) {
        m_item = std::make_unique<QtStatusItem>(icon("app-idle"), icon("app-running"), QStringLiteral("Lingrelay Pro"));
        m_item->onActivated = onOpenWindow;
    }
    m_item->setActive(running);
    std::vector<StatusItem::Item> items;
    for (auto const& item : StatusMenu::items(running, AppModel::shared().settings->preset)) {
        using Action = StatusMenu::Action;
        std::function<void()> action;
        if (item.action == Action::openWindow)
            action = onOpenWindow;
        else if (item.action == Action::toggleRun)
            action = onToggleRun;
        else if (item.action == Action::quit)
            action = onQuit;
        items.push_back({item.title, std::move(action), item.key});
    }
    m_item->setMenu(std::move(items));
}

void Tray::setVisible(bool visible)
{
    if (m_item)
        m_item->setVisible(visible);
}

} // namespace lingrelay
