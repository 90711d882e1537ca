#include "platform/linux/pipewire/PipeWireVirtualMicrophone.h"

#include "base/Log.h"

#include <algorithm>
#include <fstream>
#include <iterator>

namespace lingrelay {

namespace {

constexpr char const* sinkName = "Lingrelay";
constexpr char const* sourceName = "Lingrelay.source";
constexpr double appearLimit = 1.0; ///< seconds
constexpr char const* channels[] = {"FL", "FR"};

/// A pair, and not one node for both directions: recorders that ask for such a node by name get the default microphone.
/// Neither is to become a default by itself.
constexpr char const* configuration
    = R"(# The virtual microphone of Lingrelay. "lingrelay-cli devices remove-virtual" takes it away.
context.modules = [
  { name = libpipewire-module-loopback
    args = {
      node.description = "Lingrelay"
      capture.props = {
        node.name = "Lingrelay"  node.description = "Lingrelay"  media.class = Audio/Sink
        audio.position = [ FL FR ]  priority.session = 1
      }
      playback.props = {
        node.name = "Lingrelay.source"  node.description = "Lingrelay"  media.class = Audio/Source
        audio.position = [ FL FR ]  priority.session = 1
      }
    }
  }
]
)";

} // namespace

PipeWireVirtualMicrophone::PipeWireVirtualMicrophone(
    PipeWireConnection& connection, std::filesystem::path const& additions)
    : m_connection(connection)
    , m_file(additions / "20-lingrelay.conf")
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.add(*this);
}

PipeWireVirtualMicrophone::~PipeWireVirtualMicrophone()
{
    PipeWireConnection::Lock const lock(m_connection);
    m_connection.remove(*this);
}

bool PipeWireVirtualMicrophone::installed() const
{
    std::error_code ignored;
    return std::filesystem::exists(m_file, ignored);
}

bool PipeWireVirtualMicrophone::writeFile() const
{
    std::error_code error;
    std::filesystem::create_directories(m_file.parent_path(), error);
    auto whole = m_file; // a server that starts now reads all or nothing
    whole += ".new";
    {
        std::ofstream file(whole, std::ios::trunc);
        file << configuration << std::flush;
        if (!file)
            return false;
    }
    std::filesystem::rename(whole, m_file, error);
    return !error;
}

bool PipeWireVirtualMicrophone::install()
{
    if (!writeFile()) {
        Log::write("[sound] {} cannot be written", m_file.string());
        return false;
    }
    PipeWireConnection::Lock const lock(m_connection);
    m_late.clear();
    // Without a server it comes with the next one.
    if (!m_connection.connected() || present())
        return true;
    destroyNodes(); // half of a pair, of a try that failed
    waitUntilGone();
    if (!m_connection.connected() || makeNodes()) // the server may have gone meanwhile
        return true;
    Log::write("[sound] the virtual microphone does not come up");
    for (auto const* name : {sinkName, sourceName}) {
        if (m_connection.connected() && !m_connection.node(name))
            m_late.insert(name);
    }
    destroyNodes();
    std::error_code ignored;
    std::filesystem::remove(m_file, ignored);
    return false;
}

/// Each once: what comes after it is somebody else's.
void PipeWireVirtualMicrophone::destroyLateNodes()
{
    std::erase_if(m_late, [this](std::string const& name) {
        auto const* const node = m_connection.node(name);
        if (node)
            pw_registry_destroy(m_connection.registry(), node->id);
        return node != nullptr;
    });
}

/// Nodes that nothing links pass nothing on. Those of the server's own module need no links.
bool PipeWireVirtualMicrophone::present() const
{
    auto const* const sink = m_connection.node(sinkName);
    return sink && m_connection.node(sourceName) && (!sink->get(PW_KEY_NODE_LINK_GROUP).empty() || linked());
}

bool PipeWireVirtualMicrophone::linked() const
{
    auto const& objects = m_connection.objects();
    return std::all_of(std::begin(channels), std::end(channels), [&](auto const* channel) {
        auto const from = port(sinkName, "out", channel);
        auto const to = port(sourceName, "in", channel);
        return std::any_of(objects.begin(), objects.end(), [&](auto const& entry) {
            return entry.second.type == PW_TYPE_INTERFACE_Link && from != PW_ID_ANY
                && entry.second.number(PW_KEY_LINK_OUTPUT_PORT) == from
                && entry.second.number(PW_KEY_LINK_INPUT_PORT) == to;
        });
    });
}

bool PipeWireVirtualMicrophone::makeNodes()
{
    auto const generation = m_connection.generation();
    auto* const sink = makeNode(sinkName, "Audio/Sink");
    auto* const source = makeNode(sourceName, "Audio/Source/Virtual");
    auto const ready = [this] {
        for (auto const* channel : channels) {
            if (port(sinkName, "out", channel) == PW_ID_ANY || port(sourceName, "in", channel) == PW_ID_ANY)
                return false;
        }
        return port(sinkName, "in", "FR") != PW_ID_ANY && port(sourceName, "out", "FR") != PW_ID_ANY;
    };
    bool const there = m_connection.waitUntil(appearLimit, ready);
    release({sink, source}, generation);
    if (!there)
        return false;
    std::vector<pw_proxy*> links;
    for (auto const* channel : channels)
        links.push_back(makeLink(port(sinkName, "out", channel), port(sourceName, "in", channel)));
    bool const done = m_connection.waitUntil(appearLimit, [this] { return linked(); });
    release(links, generation);
    return done;
}

/// The objects stay in the server when this program lets go of them, and when it ends.
void PipeWireVirtualMicrophone::release(std::vector<pw_proxy*> const& objects, int generation) const
{
    for (auto* const proxy : objects) {
        if (proxy && m_connection.connected() && m_connection.generation() == generation)
            pw_proxy_destroy(proxy);
    }
}

pw_proxy* PipeWireVirtualMicrophone::makeNode(char const* name, char const* mediaClass)
{
    auto* const properties = pw_properties_new(PW_KEY_FACTORY_NAME, "support.null-audio-sink", PW_KEY_NODE_NAME, name,
        PW_KEY_NODE_DESCRIPTION, "Lingrelay", PW_KEY_MEDIA_CLASS, mediaClass, "audio.position", "FL,FR",
        PW_KEY_OBJECT_LINGER, "true", PW_KEY_PRIORITY_SESSION, "1", PW_KEY_NODE_VIRTUAL, "true", nullptr);
    auto* const proxy = static_cast<pw_proxy*>(pw_core_create_object(
        m_connection.core(), "adapter", PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, &properties->dict, 0));
    pw_properties_free(properties);
    return proxy;
}

pw_proxy* PipeWireVirtualMicrophone::makeLink(std::uint32_t from, std::uint32_t to)
{
    auto* const properties = pw_properties_new(PW_KEY_OBJECT_LINGER, "true", nullptr);
    pw_properties_setf(properties, PW_KEY_LINK_OUTPUT_PORT, "%u", from);
    pw_properties_setf(properties, PW_KEY_LINK_INPUT_PORT, "%u", to);
    auto* const proxy = static_cast<pw_proxy*>(pw_core_create_object(
        m_connection.core(), "link-factory", PW_TYPE_INTERFACE_Link, PW_VERSION_LINK, &properties->dict, 0));
    pw_properties_free(properties);
    return proxy;
}

std::uint32_t PipeWireVirtualMicrophone::port(
    char const* nodeName, std::string_view direction, std::string_view channel) const
{
    auto const* const node = m_connection.node(nodeName);
    for (auto const& [id, object] : m_connection.objects()) {
        if (node && object.type == PW_TYPE_INTERFACE_Port && object.number(PW_KEY_NODE_ID) == node->id
            && object.get(PW_KEY_PORT_DIRECTION) == direction && object.get(PW_KEY_AUDIO_CHANNEL) == channel)
            return id;
    }
    return PW_ID_ANY;
}

bool PipeWireVirtualMicrophone::remove()
{
    std::error_code error;
    std::filesystem::remove(m_file, error);
    if (error)
        return false;
    PipeWireConnection::Lock const lock(m_connection);
    if (!m_connection.connected())
        return true;
    destroyNodes();
    return waitUntilGone();
}

bool PipeWireVirtualMicrophone::waitUntilGone() const
{
    return m_connection.waitUntil(
        appearLimit, [this] { return !m_connection.node(sinkName) && !m_connection.node(sourceName); });
}

void PipeWireVirtualMicrophone::destroyNodes() const
{
    for (auto const& [id, object] : m_connection.objects()) {
        auto const& name = object.get(PW_KEY_NODE_NAME);
        if (object.type == PW_TYPE_INTERFACE_Node && (name == sinkName || name == sourceName))
            pw_registry_destroy(m_connection.registry(), id);
    }
}

} // namespace lingrelay
