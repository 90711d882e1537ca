#include "tests/support/OtherProgram.h"

#include "tests/support/TestProcess.h"

#include <cstdlib>
#include <cstring>
#include <vector>

#include <gtest/gtest.h>
#include <xcb/xcb.h>

namespace lingrelay {

namespace {

constexpr std::uint32_t white = 0xffffff;

template <class T> auto held(T* reply) { return std::unique_ptr<T, void (*)(void*)>(reply, std::free); }

} // namespace

OtherProgram::OtherProgram(std::string const& name, Look look)
    : m_connection(xcb_connect(nullptr, nullptr), xcb_disconnect)
{
    auto* const connection = m_connection.get();
    m_root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    m_window = xcb_generate_id(connection);
    std::uint32_t const values[] = {white, XCB_EVENT_MASK_FOCUS_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(connection, XCB_COPY_FROM_PARENT, m_window, m_root, 0, 0, 1200, 900, 0,
        XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, XCB_CW_BACK_PIXEL | XCB_CW_EVENT_MASK, values);
    auto const words = name + '\0' + name + '\0';
    xcb_change_property(connection, XCB_PROP_MODE_REPLACE, m_window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
        static_cast<std::uint32_t>(words.size()), words.data());
    xcb_flush(connection);
    if (look == Look::fullScreen)
        outputOf(
            {"xprop", "-id", id(), "-f", "_NET_WM_STATE", "32a", "-set", "_NET_WM_STATE", "_NET_WM_STATE_FULLSCREEN"});
    xcb_map_window(connection, m_window);
    xcb_flush(connection);
    auto const up = [&] { return viewable() && hasFocus() && isActive(); };
    if (!eventually(up, 2)) { // a window manager that is still starting takes a window over without giving it the focus
        raise();
        EXPECT_TRUE(eventually(up)) << name << " does not come up";
    }
    m_focusLosses = 0;
}

OtherProgram::~OtherProgram() = default;

void OtherProgram::listen()
{
    while (auto const event = held(xcb_poll_for_event(m_connection.get()))) {
        if ((event->response_type & 0x7f) != XCB_FOCUS_OUT)
            continue;
        auto const* const out = reinterpret_cast<xcb_focus_out_event_t const*>(event.get());
        // A grab of keys, as for a shortcut, takes nothing away.
        m_focusLosses += out->mode == XCB_NOTIFY_MODE_NORMAL && out->detail != XCB_NOTIFY_DETAIL_INFERIOR;
    }
}

bool OtherProgram::hasFocus()
{
    listen();
    auto const reply
        = held(xcb_get_input_focus_reply(m_connection.get(), xcb_get_input_focus(m_connection.get()), nullptr));
    return reply && reply->focus == m_window;
}

std::string OtherProgram::id() const { return std::to_string(m_window); }

bool OtherProgram::isActive() const { return outputOf({"xdotool", "getactivewindow"}) == id() + '\n'; }

int OtherProgram::focusLosses()
{
    hasFocus(); // an answer comes after all events before it
    listen();
    return m_focusLosses;
}

bool OtherProgram::viewable() const
{
    return outputOf({"xwininfo", "-id", id()}).find("IsViewable") != std::string::npos;
}

void OtherProgram::raise() { outputOf({"xdotool", "windowactivate", id()}); }

void OtherProgram::setDesktop(int number) { outputOf({"xdotool", "set_desktop", std::to_string(number)}); }

std::uint32_t OtherProgram::colourAt(double x, double y)
{
    auto const reply = held(xcb_get_image_reply(m_connection.get(),
        xcb_get_image(m_connection.get(), XCB_IMAGE_FORMAT_Z_PIXMAP, m_root, static_cast<std::int16_t>(x),
            static_cast<std::int16_t>(y), 1, 1, ~0U),
        nullptr));
    std::uint32_t pixel = 0;
    if (reply && xcb_get_image_data_length(reply.get()) >= 4)
        std::memcpy(&pixel, xcb_get_image_data(reply.get()), 4);
    return pixel & white;
}

} // namespace lingrelay
