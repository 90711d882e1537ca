#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// The menu of the icon in the tray, in the languages of the moment. It is made anew when the run state changes. Main.
class StatusMenu {
public:
    enum class Action { none, openWindow, toggleRun, quit };

    struct Item {
        std::string title; ///< empty: a separator
        Action action = Action::none; ///< none: the item cannot be chosen
        std::string key = {}; ///< of the same action in the window
    };

    /// `preset` as the settings hold it; what is no preset is not shown.
    static std::vector<Item> items(bool running, std::string_view preset);
};

} // namespace lingrelay
