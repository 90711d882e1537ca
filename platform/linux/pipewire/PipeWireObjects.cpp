#include "platform/linux/pipewire/PipeWireObjects.h"

#include <algorithm>
#include <charconv>

namespace lingrelay {

namespace {

void addAll(spa_dict const* dictionary, PipeWireObjects::Properties& properties)
{
    if (!dictionary)
        return;
    spa_dict_item const* item = nullptr;
    spa_dict_for_each(item, dictionary)
    {
        if (item->key && item->value)
            properties[item->key] = item->value;
    }
}

bool isAudioNode(PipeWireObjects::Object const& object)
{
    auto const& kind = object.get(PW_KEY_MEDIA_CLASS);
    return object.type == PW_TYPE_INTERFACE_Node && (kind.starts_with("Audio/") || kind == "Stream/Output/Audio");
}

} // namespace

std::string const& PipeWireObjects::Object::get(std::string_view key) const
{
    static std::string const none;
    auto const found = properties.find(key);
    return found == properties.end() ? none : found->second;
}

std::uint32_t PipeWireObjects::Object::number(std::string_view key) const
{
    auto const& text = get(key);
    std::uint32_t value = PW_ID_ANY;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

PipeWireObjects::Watch::~Watch()
{
    spa_hook_remove(&listener);
    pw_proxy_destroy(proxy);
}

PipeWireObjects::Object const& PipeWireObjects::add(
    pw_registry* registry, std::uint32_t id, char const* type, spa_dict const* properties)
{
    Object object{id, type, {}};
    addAll(properties, object.properties);
    if (isAudioNode(object) || object.type == PW_TYPE_INTERFACE_Link) {
        object.complete = false;
        watch(registry, object);
    }
    return m_objects[id] = std::move(object);
}

void PipeWireObjects::remove(std::uint32_t id)
{
    m_objects.erase(id);
    m_watches.erase(id);
}

void PipeWireObjects::clear()
{
    m_objects.clear();
    m_watches.clear();
}

/// The registry tells only a part of a node's properties, and nothing of a link's state.
void PipeWireObjects::watch(pw_registry* registry, Object const& object)
{
    static pw_node_events const nodeEvents = [] {
        pw_node_events result{};
        result.version = PW_VERSION_NODE_EVENTS;
        result.info = onNodeInfo;
        return result;
    }();
    static pw_link_events const linkEvents = [] {
        pw_link_events result{};
        result.version = PW_VERSION_LINK_EVENTS;
        result.info = onLinkInfo;
        return result;
    }();
    bool const isNode = object.type == PW_TYPE_INTERFACE_Node;
    auto watch = std::make_unique<Watch>();
    watch->objects = this;
    watch->id = object.id;
    watch->proxy = static_cast<pw_proxy*>(
        pw_registry_bind(registry, object.id, object.type.c_str(), isNode ? PW_VERSION_NODE : PW_VERSION_LINK, 0));
    if (isNode)
        pw_node_add_listener(reinterpret_cast<pw_node*>(watch->proxy), &watch->listener, &nodeEvents, watch.get());
    else
        pw_link_add_listener(reinterpret_cast<pw_link*>(watch->proxy), &watch->listener, &linkEvents, watch.get());
    m_watches[object.id] = std::move(watch);
}

void PipeWireObjects::onNodeInfo(void* data, pw_node_info const* info)
{
    auto const& watch = *static_cast<Watch*>(data);
    auto& objects = *watch.objects;
    auto const found = objects.m_objects.find(watch.id);
    bool const news = found != objects.m_objects.end() && info->props
        && (!found->second.complete || (info->change_mask & PW_NODE_CHANGE_MASK_PROPS));
    if (!news)
        return;
    addAll(info->props, found->second.properties);
    found->second.complete = true;
    objects.m_changed();
}

void PipeWireObjects::onLinkInfo(void* data, pw_link_info const* info)
{
    auto const& watch = *static_cast<Watch*>(data);
    auto const found = watch.objects->m_objects.find(watch.id);
    bool const complete = info->state == PW_LINK_STATE_PAUSED || info->state == PW_LINK_STATE_ACTIVE;
    if (found == watch.objects->m_objects.end() || found->second.complete == complete)
        return;
    found->second.complete = complete;
    watch.objects->m_changed();
}

PipeWireObjects::Object const* PipeWireObjects::find(std::uint32_t id) const
{
    auto const found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : &found->second;
}

PipeWireObjects::Object const* PipeWireObjects::node(std::string_view name) const
{
    for (auto const& [id, object] : m_objects) {
        if (!name.empty() && object.type == PW_TYPE_INTERFACE_Node && object.get(PW_KEY_NODE_NAME) == name)
            return &object;
    }
    return nullptr;
}

std::vector<PipeWireObjects::Object const*> PipeWireObjects::ports(std::uint32_t node, std::string_view direction) const
{
    std::vector<Object const*> found;
    for (auto const& [id, object] : m_objects) {
        if (object.type == PW_TYPE_INTERFACE_Port && object.number(PW_KEY_NODE_ID) == node
            && object.get(PW_KEY_PORT_DIRECTION) == direction)
            found.push_back(&object);
    }
    std::sort(found.begin(), found.end(),
        [](auto const* a, auto const* b) { return a->number(PW_KEY_PORT_ID) < b->number(PW_KEY_PORT_ID); });
    return found;
}

} // namespace lingrelay
