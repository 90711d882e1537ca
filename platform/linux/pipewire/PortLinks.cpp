#include "platform/linux/pipewire/PortLinks.h"

#include "base/Time.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr Duration retryTime = seconds(0.2);

} // namespace

class PortLinks::Link {
public:
    Link(pw_core* core, Ends const& ends, Demand demand)
    {
        static pw_proxy_events const events = [] {
            pw_proxy_events result{};
            result.version = PW_VERSION_PROXY_EVENTS;
            result.bound = [](void* self, std::uint32_t) { static_cast<Link*>(self)->m_made = true; };
            result.removed = [](void* self) { static_cast<Link*>(self)->m_lost = true; };
            result.error = [](void* self, int, int, char const*) { static_cast<Link*>(self)->m_lost = true; };
            return result;
        }();
        auto* const properties
            = pw_properties_new(PW_KEY_LINK_PASSIVE, demand == Demand::passive ? "true" : "false", nullptr);
        pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", ends.first);
        pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", ends.second);
        m_proxy = static_cast<pw_proxy*>(
            pw_core_create_object(core, "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties->dict, 0));
        pw_properties_free(properties);
        if (m_proxy)
            pw_proxy_add_listener(m_proxy, &m_listener, &events, this);
    }
    ~Link()
    {
        if (!m_proxy)
            return;
        spa_hook_remove(&m_listener);
        pw_proxy_destroy(m_proxy);
    }
    Link(Link const&) = delete;
    Link& operator=(Link const&) = delete;

    bool made() const { return m_made && !m_lost; }
    bool due() const { return (m_lost || !m_proxy) && Clock::now() - m_since >= retryTime; }

private:
    pw_proxy* m_proxy;
    spa_hook m_listener{};
    bool m_made = false;
    bool m_lost = false;
    Instant m_since = Clock::now();
};

PortLinks::PortLinks(PipeWireConnection& connection, Demand demand) : m_connection(connection), m_demand(demand) { }

PortLinks::~PortLinks() = default;

void PortLinks::clear() { m_links.clear(); }

void PortLinks::keep(std::vector<Ends> const& wanted)
{
    std::erase_if(m_links, [&](auto const& entry) {
        return entry.second->due() || std::find(wanted.begin(), wanted.end(), entry.first) == wanted.end();
    });
    for (auto const& ends : wanted) {
        if (!m_links.contains(ends))
            m_links.emplace(ends, std::make_unique<Link>(m_connection.core(), ends, m_demand));
    }
}

bool PortLinks::complete() const
{
    return !m_links.empty()
        && std::all_of(m_links.begin(), m_links.end(), [](auto const& entry) { return entry.second->made(); });
}

} // namespace lingrelay
