#pragma once

#include "platform/linux/qt/QtStatusItem.h"

#include <functional>
#include <memory>

namespace lingrelay {

/// The program's icon in the tray, with its menu, from the first `build` on. Main.
class Tray {
public:
    std::function<void()> onOpenWindow;
    std::function<void()> onToggleRun;
    std::function<void()> onQuit;

    /// Makes the menu anew, in the language of the moment.
    void build(bool running);
    void setVisible(bool visible);
    void remove() { m_item.reset(); }
    /// Whether the user finds the program there.
    bool available() const { return m_item && m_item->visible() && m_item->available(); }

private:
    std::unique_ptr<QtStatusItem> m_item;
};

} // namespace lingrelay
