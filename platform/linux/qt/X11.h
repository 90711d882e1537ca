#pragma once

#include <xcb/xcb.h>

#include <cstdlib>
#include <memory>
#include <optional>

namespace lingrelay {

/// What Qt does not tell of an X server. Main; nothing here is true, or does anything, on other kinds of desktops.
namespace x11 {

/// An answer of the server's, which the caller frees.
template <class T> using Reply = std::unique_ptr<T, decltype([](void* reply) { std::free(reply); })>;

/// Qt's own connection; null on other kinds of desktops.
xcb_connection_t* connection();
xcb_atom_t atom(xcb_connection_t* connection, char const* name);
/// Whether a window stands for this service, such as "_NET_WM_CM_S0" for a compositor. Waits for the server.
bool isOwned(char const* selection);

/// Whether a window stands for one service, asked again and again without waiting for the server.
class OwnerQuestion {
public:
    /// Waits for the first answer.
    explicit OwnerQuestion(char const* selection);
    ~OwnerQuestion();
    OwnerQuestion(OwnerQuestion const&) = delete;
    OwnerQuestion& operator=(OwnerQuestion const&) = delete;

    /// Asks, unless an answer is awaited already.
    void ask();
    /// No answer is awaited any more.
    bool answered();
    /// As the last answer said.
    bool owned() const { return m_owned; }

private:
    xcb_atom_t m_selection = XCB_ATOM_NONE;
    std::optional<xcb_get_selection_owner_cookie_t> m_awaited;
    bool m_owned = false;
};

} // namespace x11

} // namespace lingrelay
