#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>

namespace lingrelay {

/// What Qt does not tell of an X server. Main; nothing here is true, or does anything, on other kinds of desktops.
namespace x11 {

/// An answer of the server's, which the caller frees.
template <class T> using Reply = std::unique_ptr<T, decltype([](void* reply) { std::free(reply); })>;

/// Qt's own connection; null on other kinds of desktops.
xcb_connection_t* connection();
xcb_atom_t atom(xcb_connection_t* connection, char const* name);
/// Is there a window that stands for this service, such as "_NET_WM_CM_S0" for a compositor?
bool isOwned(char const* selection);

} // namespace x11

} // namespace lingrelay
