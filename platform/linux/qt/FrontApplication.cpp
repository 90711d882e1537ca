#include "platform/linux/qt/FrontApplication.h"

#include "platform/linux/DesktopFiles.h"

#include <QTimer>

#include <cstring>

namespace lingrelay {

namespace {

constexpr std::uint32_t propertyLimit = 256; ///< words of 4 bytes

} // namespace

FrontApplication::FrontApplication(std::function<void(std::string const& id)> changed, Scheduler& main, Scheduler& disk)
    : m_changed(std::move(changed))
    , m_connection(xcb_connect(nullptr, nullptr), &xcb_disconnect)
    , m_main(main)
    , m_disk(disk)
{
    auto* const connection = m_connection.get();
    if (xcb_connection_has_error(connection))
        return;
    m_root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    m_active = x11::atom(connection, "_NET_ACTIVE_WINDOW");
    std::uint32_t const events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_change_window_attributes(connection, m_root, XCB_CW_EVENT_MASK, &events);
    xcb_flush(connection);
    look(Told::no);
    auto const socket = xcb_get_file_descriptor(connection);
    m_notifier = std::make_unique<QSocketNotifier>(socket, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, m_notifier.get(), [this] { listen(); });
    QTimer::singleShot(0, m_notifier.get(), [this] { listen(); }); // what has come with the answers of `look`
}

/// Answers bring events with them that the socket says nothing of: so once more after each look.
void FrontApplication::listen()
{
    while (activeChanged())
        look(Told::yes);
    if (xcb_connection_has_error(m_connection.get()))
        m_notifier->setEnabled(false); // the server has gone
}

bool FrontApplication::activeChanged() const
{
    bool changed = false;
    while (x11::Reply<xcb_generic_event_t> const event{xcb_poll_for_event(m_connection.get())}) {
        auto const* const property = reinterpret_cast<xcb_property_notify_event_t const*>(event.get());
        changed |= (event->response_type & 0x7f) == XCB_PROPERTY_NOTIFY && property->atom == m_active;
    }
    return changed;
}

/// No window in front, as for a moment between two, changes nothing.
void FrontApplication::look(Told told)
{
    auto const active = property(m_root, m_active);
    xcb_window_t window = XCB_NONE;
    if (active.size() >= sizeof window)
        std::memcpy(&window, active.data(), sizeof window);
    auto const name = window == XCB_NONE ? "" : classOf(window);
    if (name.empty() || name == m_class)
        return;
    m_class = name;
    m_told = told;
    if (auto const known = m_ids.find(name); known != m_ids.end())
        return found(name, known->second);
    // Hundreds of files.
    std::function<void(std::string const&)> const tell
        = m_lifetime.whileAlive([this, name](std::string const& id) { found(name, id); });
    m_disk.post([name, &main = m_main, tell] {
        auto const id = DesktopFiles().idFor(name);
        main.post([tell, id = id.empty() ? name : id] { tell(id); });
    });
}

void FrontApplication::found(std::string const& name, std::string const& id)
{
    m_ids[name] = id;
    if (name != m_class || m_last == id) // another one is in front by now, or a window of the same
        return;
    m_last = id;
    if (m_told == Told::yes)
        m_changed(id);
}

/// Of the two names in WM_CLASS the second one, which is the application's.
std::string FrontApplication::classOf(xcb_window_t window) const
{
    auto const words = property(window, XCB_ATOM_WM_CLASS);
    auto const end = words.find('\0');
    return end == std::string::npos ? words : words.substr(end + 1).c_str();
}

std::string FrontApplication::property(xcb_window_t window, xcb_atom_t name) const
{
    auto* const connection = m_connection.get();
    x11::Reply<xcb_get_property_reply_t> const reply(xcb_get_property_reply(connection,
        xcb_get_property(connection, 0, window, name, XCB_GET_PROPERTY_TYPE_ANY, 0, propertyLimit), nullptr));
    if (!reply)
        return {};
    return {static_cast<char const*>(xcb_get_property_value(reply.get())),
        static_cast<std::size_t>(xcb_get_property_value_length(reply.get()))};
}

} // namespace lingrelay
