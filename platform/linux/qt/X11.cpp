#include "platform/linux/qt/X11.h"

#include <QGuiApplication>

#include <cstring>

#include <xcb/xcbext.h>

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

OwnerQuestion::OwnerQuestion(char const* selection)
    : m_selection(connection() ? atom(connection(), selection) : xcb_atom_t{XCB_ATOM_NONE})
    , m_owned(isOwned(selection))
{
}

OwnerQuestion::~OwnerQuestion()
{
    if (m_awaited && connection())
        xcb_discard_reply(connection(), m_awaited->sequence);
}

void OwnerQuestion::ask()
{
    if (m_awaited || !connection())
        return;
    m_awaited = xcb_get_selection_owner(connection(), m_selection);
    xcb_flush(connection());
}

bool OwnerQuestion::answered()
{
    if (!m_awaited)
        return true;
    void* reply = nullptr;
    xcb_generic_error_t* error = nullptr;
    if (!connection() || !xcb_poll_for_reply(connection(), m_awaited->sequence, &reply, &error))
        return !connection();
    Reply<xcb_get_selection_owner_reply_t> const answer(static_cast<xcb_get_selection_owner_reply_t*>(reply));
    Reply<xcb_generic_error_t> const failure(error);
    m_awaited.reset();
    m_owned = answer && answer->owner != XCB_NONE;
    return true;
}

} // namespace lingrelay::x11
