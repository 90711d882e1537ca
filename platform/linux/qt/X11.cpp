#include "platform/linux/qt/X11.h"

#include <QGuiApplication>

#include <cstring>

namespace lingrelay::x11 {

xcb_connection_t* connection()
{
    auto const* const native = qGuiApp->nativeInterface<QNativeInterface::QX11Application>();
    return native ? native->connection() : nullptr;
}

xcb_atom_t atom(xcb_connection_t* connection, char const* name)
{
    auto const length = static_cast<std::uint16_t>(std::strlen(name));
    Reply<xcb_intern_atom_reply_t> const reply(
        xcb_intern_atom_reply(connection, xcb_intern_atom(connection, 0, length, name), nullptr));
    return reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

bool isOwned(char const* selection)
{
    auto* const server = connection();
    if (!server)
        return false;
    Reply<xcb_get_selection_owner_reply_t> const reply(
        xcb_get_selection_owner_reply(server, xcb_get_selection_owner(server, atom(server, selection)), nullptr));
    return reply && reply->owner != XCB_NONE;
}

} // namespace lingrelay::x11
