#include "platform/linux/pipewire/MutedStreams.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr double leaveLimit = 0.5; ///< seconds until the streams have left the sink
constexpr Duration echoLimit = seconds(0.5); ///< until a move is asked for again

} // namespace

MutedStreams::MutedStreams(PipeWireConnection& connection, SoundGuard& guard, int& silences)
    : m_connection(connection)
    , m_guard(guard)
    , m_silences(silences)
    , m_sink(connection)
    , m_targets(connection)
    , m_doubled(connection)
{
}

void MutedStreams::begin()
{
    m_begun = true;
    ++m_silences;
    m_guard.note({{"sink", m_sink.name()}});
    m_connection.add(*this);
}

MutedStreams::~MutedStreams()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
    StreamTargets::Befores left;
    for (auto const& [stream, moved] : m_moved) {
        auto const now = m_targets.get(stream);
        // Else the user has moved it meanwhile.
        if (now && now->value == m_sink.name())
            left[stream] = moved.before;
        else if (!moved.seen) // the move may still be on its way, and comes before this
            left[stream]
                = now && MuteSink::is(now->value) ? moved.before : StreamTargets::Before{now, moved.before.follows};
    }
    for (auto const& [stream, before] : left)
        m_targets.holdFor(stream, before.target);
    m_targets.giveBack(left);
    // A sink that went first would have the session manager move each of them twice.
    if (!m_moved.empty())
        m_connection.waitUntil(leaveLimit, [this] { return !m_connection.connected() || m_sink.isEmpty(); });
    m_sink.destroy();
    if (m_begun) {
        m_guard.note({{"sink", nullptr}});
        --m_silences;
    }
}

void MutedStreams::disconnected()
{
    m_sink.destroy();
    m_moved.clear();
    m_doubled.clear();
}

void MutedStreams::changed()
{
    m_sink.keep();
    auto const* const sink = m_sink.node();
    if (!m_connection.managed() || !sink || m_moving)
        return;
    m_moving = true;
    std::erase_if(m_moved, [this](auto const& entry) {
        auto const* const stream = m_connection.find(entry.first);
        return !stream || stream->get(PW_KEY_OBJECT_SERIAL) != entry.second.serial;
    });
    for (auto const& [id, object] : m_connection.objects()) {
        if (m_connection.foreignStream(object))
            move(object);
    }
    m_moving = false;
    keepRemembered();
    m_doubled.end(sink->id, [this](auto stream) { return m_moved.contains(stream); });
}

void MutedStreams::tick()
{
    bool const waits = std::any_of(m_moved.begin(), m_moved.end(), [](auto const& each) { return !each.second.seen; });
    if (waits || m_doubled.any() || m_sink.failed())
        changed();
}

/// Also when somebody has moved it elsewhere meanwhile; there it is to go in the end.
void MutedStreams::move(PipeWireConnection::Object const& stream)
{
    auto now = m_targets.get(stream.id);
    auto const known = m_moved.find(stream.id);
    if (now && now->value == m_sink.name()) {
        if (known == m_moved.end()) // left over from a process of the same number
            m_moved[stream.id] = {stream.get(PW_KEY_OBJECT_SERIAL), {}, Clock::now(), true};
        else
            known->second.seen = true;
        return;
    }
    // Another instance silences it, and knows where it belongs. If that is dead, then its guard knows, for a while.
    if (now && MuteSink::is(now->value))
        return;
    // It has been asked for. What somebody else has asked for right after it can have hidden the answer.
    if (known != m_moved.end() && !known->second.seen && Clock::now() - known->second.asked < echoLimit)
        return;
    bool const again = known != m_moved.end();
    auto& moved = m_moved[stream.id];
    moved.serial = stream.get(PW_KEY_OBJECT_SERIAL);
    moved.asked = Clock::now();
    moved.seen = false;
    if (!again)
        moved.before.follows = m_targets.follows(stream.id);
    Value const sink{"Spa:String", m_sink.name()};
    m_targets.holdFor(stream.id, sink);
    m_targets.set(stream.id, sink);
    noteBefore(stream.id, moved, now);
    // What the session manager remembers of a new program comes at a moment at which it is easily lost.
    m_connection.metadata().readAt(moved.asked + echoLimit);
}

/// Of several values that come at once, the mirror shows the last alone. A target that another one has set at about the
/// time of the move, such as a session manager that remembers a new program's device, is where the stream belongs.
void MutedStreams::told(std::uint32_t subject, std::string const& key, std::optional<Value> const& value)
{
    auto const found = m_moved.find(subject);
    if (found == m_moved.end() || key != StreamTargets::key || found->second.seen)
        return;
    if (value && value->value == m_sink.name())
        found->second.seen = true;
    else if (!(value && MuteSink::is(value->value)) && value != found->second.before.target)
        noteBefore(subject, found->second, value);
}

void MutedStreams::noteBefore(std::uint32_t stream, Moved& moved, std::optional<Value> const& target)
{
    moved.before.target = target;
    m_guard.note({{"stream", stream}, {"target", target ? Json(target->value) : Json()},
        {"type", target ? target->type : ""}, {"follows", moved.before.follows}});
    auto const lent = m_targets.lend(stream, target);
    if (lent)
        moved.remembered = lent->value;
    else if (moved.lent)
        m_targets.forget(stream);
    moved.lent = lent.has_value();
}

/// The device that the session manager remembers of a new program can come after the program.
void MutedStreams::keepRemembered()
{
    bool news = false;
    for (auto& [stream, moved] : m_moved) {
        auto const remembered = m_targets.remembered(stream);
        news = news || (remembered && remembered->value != moved.remembered);
        moved.remembered = remembered ? remembered->value : "";
    }
    if (news)
        m_targets.keepRemembered();
}

} // namespace lingrelay
