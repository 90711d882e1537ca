#include "platform/linux/pipewire/PipeWireDevices.h"

#include "platform/linux/pipewire/MuteSink.h"

#include <algorithm>

#include <spa/param/audio/raw.h>

namespace lingrelay {

namespace {

using Object = PipeWireConnection::Object;

constexpr char const* defaultSource = "default.audio.source";
constexpr char const* defaultSink = "default.audio.sink";
constexpr double leaveLimit = 0.3; ///< seconds, at the end of the program
constexpr Duration settleTime = seconds(5); ///< in which a session manager has told all that it remembers

} // namespace

PipeWireDevices::PipeWireDevices(
    PipeWireConnection& connection, SoundGuard& guard, std::filesystem::path const& switchedInput)
    : m_connection(connection)
    , m_switched(connection, guard, switchedInput)
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.add(*this);
}

PipeWireDevices::~PipeWireDevices()
{
    PipeWireConnection::Lock const lock(m_connection);
    // The guard would give the default input back, too, and takes longer for it.
    m_connection.waitUntil(leaveLimit, [this] { return !m_connection.managed() || !m_switched.givesBack(); });
    m_connection.remove(*this);
}

void PipeWireDevices::connected()
{
    m_settled = false;
    m_since = Clock::now();
    m_switched.managerCame();
}

void PipeWireDevices::changed()
{
    m_switched.changed();
    settle();
}

void PipeWireDevices::settle()
{
    if (m_settled || !m_connection.connected() || m_connection.nameIn(defaultSource).empty())
        return;
    bool const late = Clock::now() - m_since >= settleTime;
    m_settled = m_switched.recover(late ? SwitchedInput::Unknown::isNothing : SwitchedInput::Unknown::waits);
}

/// By ports, which a node has once the session manager has set it up.
int PipeWireDevices::channels(Object const& node, Side side) const
{
    auto const count = m_connection.ports(node.id, side == Side::input ? "out" : "in").size();
    return static_cast<int>(std::min<std::size_t>(count, SPA_AUDIO_MAX_CHANNELS));
}

std::vector<AudioDevice> PipeWireDevices::list(Side side)
{
    std::vector<std::pair<std::uint64_t, AudioDevice>> found; ///< by age
    for (auto const& [id, node] : m_connection.objects()) {
        auto const& kind = node.get(PW_KEY_MEDIA_CLASS);
        bool const fits
            = kind == "Audio/Duplex" || kind.starts_with(side == Side::input ? "Audio/Source" : "Audio/Sink");
        auto const& name = node.get(PW_KEY_NODE_NAME);
        auto const& description = node.get(PW_KEY_NODE_DESCRIPTION);
        if (node.type != PW_TYPE_INTERFACE_Node || !fits || description.empty() || MuteSink::is(name))
            continue;
        if (channels(node, side) > 0)
            found.emplace_back(node.number(PW_KEY_OBJECT_SERIAL), AudioDevice{idOf(name), description});
    }
    std::sort(found.begin(), found.end(), [](auto const& a, auto const& b) { return a.first < b.first; });
    std::vector<AudioDevice> devices;
    for (auto& [serial, device] : found)
        devices.push_back(std::move(device));
    return devices;
}

std::vector<AudioDevice> PipeWireDevices::inputs()
{
    PipeWireConnection::Lock const lock(m_connection);
    return list(Side::input);
}

std::vector<AudioDevice> PipeWireDevices::outputs()
{
    PipeWireConnection::Lock const lock(m_connection);
    return list(Side::output);
}

std::optional<std::uint32_t> PipeWireDevices::listed(std::string const& name, Side side)
{
    if (name.empty())
        return {};
    auto const id = idOf(name);
    auto const devices = list(side);
    bool const there = std::any_of(devices.begin(), devices.end(), [&](auto const& each) { return each.id == id; });
    return there ? std::optional(id) : std::nullopt;
}

std::optional<std::uint32_t> PipeWireDevices::defaultInput()
{
    PipeWireConnection::Lock const lock(m_connection);
    return listed(m_switched.givesBack().value_or(m_connection.nameIn(defaultSource)), Side::input);
}

std::optional<std::uint32_t> PipeWireDevices::defaultOutput()
{
    PipeWireConnection::Lock const lock(m_connection);
    return listed(m_connection.nameIn(defaultSink), Side::output);
}

bool PipeWireDevices::settled()
{
    PipeWireConnection::Lock const lock(m_connection);
    return m_settled && !m_switched.givesBack();
}

void PipeWireDevices::setDefaultInput(std::uint32_t device)
{
    PipeWireConnection::Lock const lock(m_connection);
    auto const name = nameOf(device);
    if (name.empty())
        return;
    m_switched.set(name, isVirtualNode(name), isVirtualNode(m_connection.nameIn(defaultSource)));
}

std::optional<std::uint32_t> PipeWireDevices::builtInInput()
{
    PipeWireConnection::Lock const lock(m_connection);
    for (auto const& device : list(Side::input)) {
        auto const* const node = m_connection.node(nameOf(device.id));
        if (node && (node->get(PW_KEY_DEVICE_FORM_FACTOR) == "internal" || node->get(PW_KEY_DEVICE_BUS) == "pci"))
            return device.id;
    }
    return {};
}

std::optional<PipeWireDevices::Node> PipeWireDevices::input(std::optional<std::uint32_t> device)
{
    PipeWireConnection::Lock const lock(m_connection);
    auto const name = linkedTo(Side::input, device)();
    auto const* const node = m_connection.node(name);
    if (!node)
        return {};
    auto const count = channels(*node, Side::input);
    return count > 0 ? std::optional(Node{name, count}) : std::nullopt;
}

std::function<std::string()> PipeWireDevices::linkedTo(Side side, std::optional<std::uint32_t> device)
{
    if (device)
        return [name = nameOf(*device)] { return name; };
    return [this, side] { return followed(side); };
}

/// The server makes the virtual microphone a default itself when no other device of its kind is left.
std::string PipeWireDevices::followed(Side side)
{
    auto name = m_connection.nameIn(side == Side::input ? defaultSource : defaultSink);
    if (!isVirtualNode(name))
        return name;
    auto const others = side == Side::output ? list(side) : std::vector<AudioDevice>();
    auto const first = std::find_if_not(others.begin(), others.end(), isVirtual);
    return first == others.end() ? "" : nameOf(first->id);
}

std::uint32_t PipeWireDevices::idOf(std::string const& nodeName)
{
    auto const found = std::find(m_names.begin(), m_names.end(), nodeName);
    if (found != m_names.end())
        return static_cast<std::uint32_t>(found - m_names.begin() + 1);
    m_names.push_back(nodeName);
    return static_cast<std::uint32_t>(m_names.size());
}

std::string PipeWireDevices::nameOf(std::uint32_t device) const
{
    return device >= 1 && device <= m_names.size() ? m_names[device - 1] : "";
}

bool PipeWireDevices::isVirtualNode(std::string const& nodeName) const
{
    auto const* const node = m_connection.node(nodeName);
    return node && isVirtual({0, node->get(PW_KEY_NODE_DESCRIPTION)});
}

} // namespace lingrelay
