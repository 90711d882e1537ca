#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "platform/linux/qt/X11.h"

#include <QSocketNotifier>

#include <functional>
#include <memory>
#include <string>
#include <unordered_map>

namespace lingrelay {

/// Which application is in front, on X11: the id of its .desktop file without the ending, or, when it has none, the
/// class of its windows. The object has a connection of its own, because Qt decides which
/// events come on Qt's. Main.
class FrontApplication {
public:
    /// `changed` is called for each application that comes to the front from now on, not for its own other windows.
    /// The .desktop files are read on `disk`; both schedulers outlive the object.
    FrontApplication(std::function<void(std::string const& id)> changed, Scheduler& main, Scheduler& disk);

private:
    enum class Told { no, yes };

    void listen();
    bool activeChanged() const;
    void look(Told told);
    void found(std::string const& name, std::string const& id);
    std::string classOf(xcb_window_t window) const;
    std::string property(xcb_window_t window, xcb_atom_t name) const;

    std::function<void(std::string const&)> m_changed;
    std::unique_ptr<xcb_connection_t, decltype(&xcb_disconnect)> m_connection;
    std::unique_ptr<QSocketNotifier> m_notifier;
    xcb_window_t m_root = XCB_NONE;
    xcb_atom_t m_active = XCB_ATOM_NONE;
    std::string m_class; ///< of the window in front
    Told m_told = Told::no;
    std::string m_last; ///< the id of the last one that was found
    std::unordered_map<std::string, std::string> m_ids; ///< by class
    Scheduler& m_main;
    Scheduler& m_disk;
    Lifetime m_lifetime;
};

} // namespace lingrelay
