#include "platform/linux/pipewire/AbandonedStreams.h"

#include "platform/linux/pipewire/MuteSink.h"
#include "platform/linux/pipewire/StreamTargets.h"

#include <utility>

namespace lingrelay {

namespace {

constexpr Duration guardTime = seconds(2); ///< that a dead instance's guard has for giving streams back

} // namespace

AbandonedStreams::AbandonedStreams(PipeWireConnection& connection, int const& silences)
    : m_connection(connection)
    , m_silences(silences)
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.add(*this);
}

AbandonedStreams::~AbandonedStreams()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
}

void AbandonedStreams::tick()
{
    if (!m_since.empty())
        changed();
}

void AbandonedStreams::changed()
{
    auto const now = Clock::now();
    StreamTargets targets(m_connection);
    std::map<std::uint32_t, Instant> abandoned;
    for (auto const& [stream, target] : targets.all()) {
        bool const ours = m_silences > 0 && target.value == MuteSink::ownName();
        if (!MuteSink::is(target.value) || ours || m_connection.node(target.value))
            continue;
        abandoned[stream] = m_since.contains(stream) ? m_since[stream] : now;
        if (!m_since.contains(stream)) // that the guard gave it back can be lost news
            m_connection.metadata().readAt(now + guardTime / 2);
    }
    m_since = std::move(abandoned);
    StreamTargets::Befores none;
    for (auto& [stream, since] : m_since) {
        if (now - since < guardTime)
            continue;
        since = now;
        none[stream] = {};
    }
    targets.giveBack(none);
}

} // namespace lingrelay
