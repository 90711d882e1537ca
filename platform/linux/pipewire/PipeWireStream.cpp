#include "platform/linux/pipewire/PipeWireStream.h"

#include "base/Log.h"

#include <algorithm>

#include <spa/param/audio/format-utils.h>

namespace lingrelay {

namespace {

constexpr Duration stuckAfter = seconds(3); ///< a device that rests needs less to wake up, a server to come up
constexpr Duration mendPause = seconds(1); ///< until a stream that somebody has ended is made anew
constexpr std::size_t mostOutputs = 2; ///< of a device with more channels the first two, which are left and right

Error stuckError()
{
    return {Error::Kind::resourceUnavailable,
        "the audio service is stuck; log in again or restart pipewire and wireplumber"};
}

pw_properties* propertiesOf(PipeWireStream::Plan const& plan)
{
    bool const plays = plan.direction == PW_DIRECTION_OUTPUT;
    // Nothing of an earlier run is to be remembered: neither volume nor device.
    auto* const properties
        = pw_properties_new(PW_KEY_MEDIA_TYPE, "Audio", PW_KEY_MEDIA_CATEGORY, plays ? "Playback" : "Capture",
            PW_KEY_NODE_NAME, plan.name, PW_KEY_NODE_DESCRIPTION, plan.description, PW_KEY_MEDIA_NAME, plan.description,
            "state.restore-props", "false", "state.restore-target", "false", PW_KEY_NODE_AUTOCONNECT, "false", nullptr);
    if (!plan.latency.empty())
        pw_properties_set(properties, PW_KEY_NODE_LATENCY, plan.latency.c_str());
    if (!plan.device)
        pw_properties_set(properties, PW_KEY_NODE_ALWAYS_PROCESS, "true"); // silence flows, too
    return properties;
}

spa_audio_info_raw formatOf(PipeWireStream::Plan const& plan)
{
    spa_audio_info_raw format{};
    format.format = SPA_AUDIO_FORMAT_F32;
    format.rate = static_cast<std::uint32_t>(plan.rate);
    format.channels = static_cast<std::uint32_t>(plan.channels);
    if (plan.channels == 1)
        format.position[0] = SPA_AUDIO_CHANNEL_MONO;
    if (plan.channels == 2) {
        format.position[0] = SPA_AUDIO_CHANNEL_FL;
        format.position[1] = SPA_AUDIO_CHANNEL_FR;
    }
    for (int channel = 0; plan.channels > 2 && channel < plan.channels; ++channel)
        format.position[channel] = static_cast<std::uint32_t>(SPA_AUDIO_CHANNEL_AUX0 + channel);
    return format;
}

} // namespace

Error noServerError() { return {Error::Kind::resourceUnavailable, "the sound server (PipeWire) is not running"}; }
Error noDeviceError() { return {Error::Kind::resourceUnavailable, "the device is not there"}; }

PipeWireStream::PipeWireStream(PipeWireConnection& connection, Plan plan)
    : m_connection(connection)
    , m_plan(std::move(plan))
    , m_links(connection, m_plan.device ? PortLinks::Demand::active : PortLinks::Demand::passive)
{
}

void PipeWireStream::open()
{
    PipeWireConnection::Lock const lock(m_connection);
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
    m_links.clear();
    if (!m_stream)
        return;
    // The data thread uses the stream and its listener until it is disconnected.
    m_ending = true;
    pw_stream_disconnect(m_stream);
    spa_hook_remove(&m_listener);
    pw_stream_destroy(m_stream);
    m_stream = nullptr;
    m_ending = false;
    m_streaming = false;
    m_broken.reset();
}

void PipeWireStream::disconnected()
{
    destroy();
    m_refusal.clear();
    tell(noServerError());
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
    m_stream = pw_stream_new(m_connection.core(), m_plan.description, propertiesOf(m_plan));
    if (!m_stream)
        return; // short of memory or descriptors; tried again at the next change
    spa_zero(m_listener);
    pw_stream_add_listener(m_stream, &m_listener, &events, this);
    auto format = formatOf(m_plan);
    std::uint8_t buffer[1024];
    spa_pod_builder builder = SPA_POD_BUILDER_INIT(buffer, sizeof buffer);
    spa_pod const* parameters[] = {spa_format_audio_raw_build(&builder, SPA_PARAM_EnumFormat, &format)};
    auto const flags = PW_STREAM_FLAG_MAP_BUFFERS | PW_STREAM_FLAG_RT_PROCESS;
    pw_stream_connect(m_stream, m_plan.direction, PW_ID_ANY, static_cast<pw_stream_flags>(flags), parameters, 1);
}

std::vector<PipeWireConnection::Object const*> PipeWireStream::ownPorts() const
{
    auto const node = m_stream ? pw_stream_get_node_id(m_stream) : PW_ID_ANY;
    return node == PW_ID_ANY ? std::vector<PipeWireConnection::Object const*>()
                             : m_connection.ports(node, m_plan.direction == PW_DIRECTION_OUTPUT ? "out" : "in");
}

std::vector<PortLinks::Ends> PipeWireStream::wantedLinks() const
{
    bool const plays = m_plan.direction == PW_DIRECTION_OUTPUT;
    auto const* const device = m_connection.node(m_plan.device());
    auto const own = ownPorts();
    auto others = device ? m_connection.ports(device->id, plays ? "in" : "out")
                         : std::vector<PipeWireConnection::Object const*>();
    if (plays && others.size() > mostOutputs)
        others.resize(mostOutputs);
    std::vector<PortLinks::Ends> wanted;
    for (std::size_t i = 0; !own.empty() && !others.empty() && i < std::max(own.size(), others.size()); ++i) {
        auto const ours = own[i % own.size()]->id;
        auto const theirs = others[i % others.size()]->id;
        wanted.push_back(plays ? PortLinks::Ends(ours, theirs) : PortLinks::Ends(theirs, ours));
    }
    return wanted;
}

void PipeWireStream::changed()
{
    if (!m_connection.connected())
        return;
    if (m_broken && hasDevice() && Clock::now() - *m_broken > mendPause)
        destroy();
    // A session manager that finds streams when it starts can come to a standstill.
    if (!m_stream && m_connection.managed())
        build();
    if (m_stream)
        m_links.keep(wantedLinks());
    judge();
}

void PipeWireStream::stateChanged(pw_stream_state state, char const* error)
{
    if (m_ending)
        return;
    m_streaming = state == PW_STREAM_STATE_STREAMING;
    if (state == PW_STREAM_STATE_ERROR || state == PW_STREAM_STATE_UNCONNECTED)
        m_broken = Clock::now();
    if (state == PW_STREAM_STATE_ERROR)
        m_refusal = error ? error : "the sound server refused";
    judge();
}

bool PipeWireStream::hasDevice() const { return !m_plan.device || m_connection.node(m_plan.device()); }

bool PipeWireStream::flows() const
{
    return m_streaming && m_connection.managed() && (!m_plan.device || m_links.complete());
}

void PipeWireStream::judge()
{
    bool const waitsForDevice = m_connection.managed() && !hasDevice();
    if (flows() && !waitsForDevice) {
        m_fine = Clock::now();
        m_refusal.clear();
        return tell({});
    }
    // A server that has just come up tells of its devices one by one.
    if (waitsForDevice && m_told == std::string()) {
        m_fine = Clock::now();
        return tell(noDeviceError());
    }
    if (Clock::now() - m_fine < stuckAfter)
        return;
    if (!m_refusal.empty())
        tell(Error{Error::Kind::resourceUnavailable, m_refusal});
    else
        tell(waitsForDevice ? noDeviceError() : stuckError());
}

void PipeWireStream::tell(std::optional<Error> const& problem)
{
    auto const message = problem ? problem->message : "";
    if (m_told == message)
        return;
    m_told = message;
    if (problem)
        Log::write("[sound] {}: {}", m_plan.name, message);
    report(problem);
}

} // namespace lingrelay
