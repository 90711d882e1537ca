#include "platform/linux/pipewire/MuteSink.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fmt/format.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr std::string_view prefix = "lingrelay.mute.";
constexpr double makeLimit = 1.0; ///< seconds until it is there
constexpr Duration retryTime = seconds(1); ///< after one that the server could not make

} // namespace

bool MuteSink::is(std::string_view nodeName) { return nodeName.starts_with(prefix); }

std::string MuteSink::ownName() { return fmt::format("{}{}", prefix, ::getpid()); }

void MuteSink::create()
{
    if (m_proxy)
        return;
    static pw_proxy_events const events = [] {
        pw_proxy_events result{};
        result.version = PW_VERSION_PROXY_EVENTS;
        result.removed = [](void* self) { static_cast<MuteSink*>(self)->m_lost = true; };
        result.error = [](void* self, int, int code, char const*) { static_cast<MuteSink*>(self)->m_error = code; };
        return result;
    }();
    // Its description must not look like the virtual microphone's, and nothing may choose it by itself.
    auto* const properties = pw_properties_new(PW_KEY_FACTORY_NAME, "support.null-audio-sink", PW_KEY_NODE_NAME,
        m_name.c_str(), PW_KEY_NODE_DESCRIPTION, "Muted by Lingrelay", PW_KEY_MEDIA_CLASS, "Audio/Sink",
        "audio.position", "FL,FR", PW_KEY_PRIORITY_SESSION, "0", nullptr);
    m_error = 0;
    m_lost = false;
    m_made = Clock::now();
    m_proxy = static_cast<pw_proxy*>(pw_core_create_object(
        m_connection.core(), "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties->dict, 0));
    pw_properties_free(properties);
    m_listener = {};
    if (!m_proxy)
        m_error = -errno;
    else
        pw_proxy_add_listener(m_proxy, &m_listener, &events, this);
}

int MuteSink::make()
{
    create();
    bool const there
        = m_connection.waitUntil(makeLimit, [this] { return m_error != 0 || !m_connection.connected() || node(); });
    if (m_error == 0 && (!there || !m_connection.connected()))
        m_error = -ETIMEDOUT;
    return m_error;
}

void MuteSink::keep()
{
    if (m_error != 0 ? Clock::now() - m_made >= retryTime : m_lost)
        destroy();
    // A session manager that is still starting is not to be troubled.
    if (m_connection.managed())
        create();
}

void MuteSink::destroy()
{
    if (!m_proxy)
        return;
    spa_hook_remove(&m_listener);
    pw_proxy_destroy(std::exchange(m_proxy, nullptr));
}

bool MuteSink::isEmpty() const
{
    auto const* const sink = node();
    auto const& objects = m_connection.objects();
    return !sink || std::none_of(objects.begin(), objects.end(), [sink](auto const& entry) {
        return entry.second.type == PW_TYPE_INTERFACE_Link && entry.second.number(PW_KEY_LINK_INPUT_NODE) == sink->id;
    });
}

} // namespace lingrelay
