#include "platform/linux/pipewire/DoubledLinks.h"

#include <utility>

namespace lingrelay {

namespace {

constexpr Duration moveTime = seconds(0.5); ///< in which the session manager has ended the links of before

} // namespace

void DoubledLinks::end(std::uint32_t sink, std::function<bool(std::uint32_t)> const& sent)
{
    auto const& objects = m_connection.objects();
    std::map<std::uint32_t, std::uint32_t> makers; ///< by stream in the sink: whose link that is
    for (auto const& [id, object] : objects) {
        if (object.type == PW_TYPE_INTERFACE_Link && object.number(PW_KEY_LINK_INPUT_NODE) == sink)
            makers[object.number(PW_KEY_LINK_OUTPUT_NODE)] = object.number(PW_KEY_CLIENT_ID);
    }
    auto const now = Clock::now();
    std::map<std::uint32_t, Instant> doubled;
    for (auto const& [id, object] : objects) {
        auto const stream = object.number(PW_KEY_LINK_OUTPUT_NODE);
        auto const maker = makers.find(stream);
        if (object.type == PW_TYPE_INTERFACE_Link && object.number(PW_KEY_LINK_INPUT_NODE) != sink && sent(stream)
            && maker != makers.end() && maker->second == object.number(PW_KEY_CLIENT_ID))
            doubled[id] = m_since.contains(id) ? m_since[id] : now;
    }
    m_since = std::move(doubled);
    for (auto& [link, since] : m_since) {
        if (now - since < moveTime)
            continue;
        pw_registry_destroy(m_connection.registry(), link);
        since = now;
    }
}

} // namespace lingrelay
