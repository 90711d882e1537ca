#include "platform/linux/pipewire/DefaultWatch.h"

namespace lingrelay {

DefaultWatch::DefaultWatch(PipeWireConnection& connection, char const* key)
    : m_connection(connection)
    , m_key(key)
    , m_watchers(std::make_shared<Watchers>(Watchers{&connection}))
{
    PipeWireConnection::Lock const lock(m_connection);
    m_current = m_connection.nameIn(m_key);
    m_connection.add(*this);
}

DefaultWatch::~DefaultWatch()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
    m_watchers->connection = nullptr;
    m_watchers->entries.clear();
}

std::shared_ptr<void> DefaultWatch::add(std::function<void()> changed)
{
    PipeWireConnection::Lock const lock(m_connection);
    auto const id = ++m_watchers->last;
    m_watchers->entries[id] = std::move(changed);
    return {nullptr, [weak = std::weak_ptr(m_watchers), id](void*) {
                auto const watchers = weak.lock();
                if (!watchers || !watchers->connection)
                    return;
                PipeWireConnection::Lock const inner(*watchers->connection);
                watchers->entries.erase(id);
            }};
}

void DefaultWatch::changed()
{
    auto name = m_connection.nameIn(m_key);
    // While the session manager comes up there is none; the device of before may be the next again.
    if (name.empty() || name == m_current)
        return;
    m_current = std::move(name);
    auto const entries = m_watchers->entries;
    for (auto const& [id, tell] : entries)
        tell();
}

} // namespace lingrelay
