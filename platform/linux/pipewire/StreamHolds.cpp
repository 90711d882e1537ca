#include "platform/linux/pipewire/StreamHolds.h"

#include <algorithm>
#include <cstdlib>

namespace lingrelay {

namespace {

/// Usually 20 ms. A session manager that does not link the stream to that device must not keep it unheard.
constexpr Duration longestMove = seconds(3);
/// The server of Debian 12 (0.3.65) can crash when a stream gets links at the very moment at which others have moved
/// it.
constexpr Duration settleTime = seconds(0.3);

std::uint64_t serial(PipeWireObjects::Object const& object)
{
    return std::strtoull(object.get(PW_KEY_OBJECT_SERIAL).c_str(), nullptr, 10);
}

} // namespace

void StreamHolds::hold(std::uint32_t stream, std::uint32_t device)
{
    std::uint64_t newest = 0;
    for (auto const& [id, object] : m_objects.all())
        newest = std::max(newest, serial(object));
    m_holds[stream] = {device, newest, Clock::now() + longestMove};
}

bool StreamHolds::held(std::uint32_t stream) const
{
    auto const found = m_holds.find(stream);
    return found != m_holds.end() && Clock::now() < found->second.until;
}

void StreamHolds::update()
{
    for (auto& [stream, hold] : m_holds) {
        if (hold.moved || !moved(stream, hold))
            continue;
        hold.moved = true;
        hold.until = Clock::now() + settleTime;
    }
}

bool StreamHolds::moved(std::uint32_t stream, Hold const& hold) const
{
    bool linked = false;
    for (auto const& [id, object] : m_objects.all()) {
        bool const meant = object.type == PW_TYPE_INTERFACE_Link && object.number(PW_KEY_LINK_OUTPUT_NODE) == stream
            && object.number(PW_KEY_LINK_INPUT_NODE) == hold.device && serial(object) > hold.newest;
        if (meant && !object.complete)
            return false;
        linked = linked || meant;
    }
    return linked;
}

} // namespace lingrelay
