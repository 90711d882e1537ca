#include "platform/linux/pipewire/PipeWireStream.h"

#include "base/Log.h"

#include <fmt/format.h>
#include <spa/param/audio/format-utils.h>

namespace lingrelay {

namespace {

constexpr int stuckAfter = 12; ///< ticks, 3 s

Error stuckError()
{
    return {Error::Kind::resourceUnavailable,
        "the audio service is stuck: restart pipewire and wireplumber, or log in again"};
}

} // namespace

Error noServerError() { return {Error::Kind::resourceUnavailable, "the sound server (PipeWire) is not running"}; }

void PipeWireStream::open()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_place = m_plan.target ? Place::moving : Place::right;
    m_connection.add(*this);
    if (!m_connection.connected())
        tell(noServerError());
}

void PipeWireStream::close()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
    destroy();
}

void PipeWireStream::destroy()
{
    if (!m_stream)
        return;
    spa_hook_remove(&m_listener);
    pw_stream_destroy(std::exchange(m_stream, nullptr)); // the data thread does not come any more
    m_streaming = m_pinned = false;
    m_waited = 0;
}

void PipeWireStream::disconnected()
{
    destroy();
    tell(Error{Error::Kind::networkConnectionLost, "the sound server has gone away"});
}

void PipeWireStream::build()
{
    static pw_stream_events const events = [] {
        pw_stream_events result{};
        result.version = PW_VERSION_STREAM_EVENTS;
        result.process = [](void* self) { static_cast<PipeWireStream*>(self)->process(); };
        result.state_changed = [](void* self, pw_stream_state, pw_stream_state state, char const* error) {
            static_cast<PipeWireStream*>(self)->stateChanged(state, error);
        };
        return result;
    }();
    bool const plays = m_plan.direction == PW_DIRECTION_OUTPUT;
    bool const linked = m_plan.links != Plan::Links::none;
    // Nothing of an earlier run is to be remembered: neither volume nor device.
    auto* const properties
        = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, plays ? "Playback" : "Capture",
            PW_KEY_NODE_NAME, m_plan.name, PW_KEY_NODE_DESCRIPTION, m_plan.description, PW_KEY_MEDIA_NAME,
            m_plan.description, "state.restore-props", "false", "state.restore-target", "false", nullptr);
    if (!m_plan.latency.empty())
        pw_properties_set(properties, PW_KEY_NODE_LATENCY, m_plan.latency.c_str());
    if (m_plan.links == Plan::Links::monitor)
        pw_properties_set(properties, PW_KEY_STREAM_CAPTURE_SINK, "true");
    if (!linked) {
        pw_properties_set(properties, PW_KEY_NODE_AUTOCONNECT, "false");
        pw_properties_set(properties, PW_KEY_NODE_ALWAYS_PROCESS, "true"); // silence flows, too
    }
    m_stream = pw_stream_new(m_connection.core(), m_plan.description, properties);
    spa_zero(m_listener);
    pw_stream_add_listener(m_stream, &m_listener, &events, this);
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.rate = static_cast<std::uint32_t>(m_plan.rate);
    format.channels = static_cast<std::uint32_t>(m_plan.channels);
    if (m_plan.channels == 1)
        format.position[0] = SPA_AUDIO_CHANNEL_MONO;
    if (m_plan.channels == 2) {
        format.position[0] = SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
    }
    if (m_plan.channels > 2)
        format.flags = SPA_AUDIO_FLAG_UNPOSITIONED;
    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    spa_pod const* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    auto const flags = PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS
        | (linked ? PW_STREAM_FLAG_AUTOCONNECT : PW_STREAM_FLAG_NONE);
    pw_stream_connect(m_stream, m_plan.direction, PW_ID_ANY, static_cast<pw_stream_flags>(flags), parameters, 1);
}

std::uint32_t PipeWireStream::nodeId() const { return m_stream ? pw_stream_get_node_id(m_stream) : PW_ID_ANY; }

/// By metadata and the node's name, the stream stays with the device, also over a time in which that is not there; a
/// target among the properties would be taken for the default when it is the default now.
void PipeWireStream::pin()
{
    if (m_pinned || !m_plan.target || nodeId() == PW_ID_ANY || !m_connection.managed())
        return;
    m_pinned = true;
    m_connection.setMetadata(
        nodeId(), "target.object", PipeWireConnection::MetadataValue{"Spa:String", *m_plan.target});
}

/// A stream begins on the default device and is then moved; what passes meanwhile is not meant for it.
void PipeWireStream::changed()
{
    if (!m_plan.target || nodeId() == PW_ID_ANY)
        return;
    auto const* const target = m_connection.node(*m_plan.target);
    if (!target) {
        m_place = Place::astray;
        return;
    }
    bool const plays = m_plan.direction == PW_DIRECTION_OUTPUT;
    auto const* const ourEnd = plays ? PW_KEY_LINK_OUTPUT_NODE : PW_KEY_LINK_INPUT_NODE;
    auto const* const otherEnd = plays ? PW_KEY_LINK_INPUT_NODE : PW_KEY_LINK_OUTPUT_NODE;
    bool there = false;
    bool elsewhere = false;
    for (auto const& [id, link] : m_connection.objects()) {
        if (link.type != PW_TYPE_INTERFACE_Link || link.number(ourEnd) != nodeId())
            continue;
        (link.number(otherEnd) == target->id ? there : elsewhere) = true;
    }
    m_place = there && !elsewhere ? Place::right : Place::moving;
}

void PipeWireStream::stateChanged(pw_stream_state state, char const* error)
{
    if (state == PW_STREAM_STATE_PAUSED || state == PW_STREAM_STATE_STREAMING)
        pin();
    m_streaming = state == PW_STREAM_STATE_STREAMING;
    if (m_streaming) {
        m_waited = 0;
        tell({});
    }
    if (state == PW_STREAM_STATE_ERROR)
        tell(Error{Error::Kind::resourceUnavailable, error ? error : "the sound server refused"});
}

void PipeWireStream::tick()
{
    if (!m_connection.connected())
        return;
    pin();
    bool const waits = !m_streaming || !m_connection.managed() || m_place == Place::moving;
    m_waited = waits && m_place != Place::astray ? m_waited + 1 : 0;
    if (m_waited == stuckAfter)
        tell(stuckError());
    if (!waits && m_told == Told::problem)
        tell({});
}

void PipeWireStream::tell(std::optional<Error> const& problem)
{
    auto const told = problem ? Told::problem : Told::flows;
    if (m_told == told)
        return;
    m_told = told;
    if (problem)
        Log::write("[sound] {}: {}", m_plan.name, problem->message);
    report(problem);
}

} // namespace lingrelay
