#include "platform/linux/pipewire/DefaultsCheck.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr Duration firstPause = seconds(1);
constexpr Duration longestPause = seconds(60);
constexpr Duration longestHope = seconds(8); ///< when there is nothing that could be the default

} // namespace

void DefaultsCheck::begin()
{
    m_pause = firstPause;
    m_next = Clock::now() + m_pause;
}

/// A machine may have no microphone at all: then a few readings are enough, until there is one.
void DefaultsCheck::tick()
{
    if (!doubted())
        return begin();
    bool const hopeless = m_pause > longestHope && (!hasDevice("Audio/Sink") || !hasDevice("Audio/Source"));
    auto const now = Clock::now();
    if (now < m_next || hopeless)
        return;
    m_defaults.readAt(now);
    m_pause = std::min(2 * m_pause, longestPause);
    m_next = now + m_pause;
}

bool DefaultsCheck::doubted() const
{
    return m_defaults.bound()
        && (doubted("default.audio.sink", "default.configured.audio.sink")
            || doubted("default.audio.source", "default.configured.audio.source"));
}

/// A default is a device that there is, and the chosen one when that is there. A session manager passes over a chosen
/// device that cannot be used, so such a doubt can stay.
bool DefaultsCheck::doubted(char const* nowKey, char const* chosenKey) const
{
    auto const now = m_defaults.name(nowKey);
    auto const chosen = m_defaults.name(chosenKey);
    return !m_objects.node(now) || (now != chosen && m_objects.node(chosen));
}

bool DefaultsCheck::hasDevice(std::string_view side) const
{
    auto const& all = m_objects.all();
    return std::any_of(all.begin(), all.end(), [side](auto const& entry) {
        auto const& kind = entry.second.get(PW_KEY_MEDIA_CLASS);
        return entry.second.type == PW_TYPE_INTERFACE_Node && (kind.starts_with(side) || kind == "Audio/Duplex");
    });
}

} // namespace lingrelay
