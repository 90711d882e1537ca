#pragma once

#include <functional>
#include <string>
#include <vector>

namespace lingrelay {

/// The program's icon in the desktop's tray, with a menu. Main.
class StatusItem {
public:
    struct Item {
        std::string title; ///< empty: a separator
        std::function<void()> action; ///< none: the item cannot be chosen
        std::string key = {}; ///< only shown, as "Ctrl+Q"
    };

    virtual ~StatusItem() = default;

    /// The user has clicked on the icon itself.
    std::function<void()> onActivated;

    /// There is a tray to show it: a program that hides its window can be found again.
    virtual bool available() const = 0;
    virtual void setVisible(bool visible) = 0;
    virtual bool visible() const = 0;
    virtual void setActive(bool active) = 0;
    /// Replaces the whole menu.
    virtual void setMenu(std::vector<Item> items) = 0;
};

} // namespace lingrelay
