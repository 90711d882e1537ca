#include "platform/linux/pipewire/PipeWireConnection.h"

#include "base/Json.h"
#include "base/Log.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdlib>
#include <mutex>

#include <unistd.h>

namespace lingrelay {

namespace {

constexpr double syncLimit = 1.0; ///< seconds; an idle server answers in a millisecond
constexpr long tickNanoseconds = 250'000'000; ///< also between attempts to connect
constexpr Duration answerLimit = seconds(5); ///< for a new connection
constexpr Duration echoTime = seconds(1);
constexpr Duration longestCheck = seconds(60);
constexpr Duration longestHope = seconds(8); ///< when there is nothing that could be the default
constexpr double usualRate = 48000;
constexpr Duration holdTime = seconds(0.3); ///< usually 20 ms
constexpr int fullRounds = 2; ///< the objects come in the first, what was bound of them in the second

void initialise()
{
    static std::once_flag once;
    std::call_once(once, [] {
        pw_init(nullptr, nullptr);
        // The library complains on standard error of what a machine without a system bus lacks.
        if (!std::getenv("PIPEWIRE_DEBUG"))
            pw_log_set_level(SPA_LOG_LEVEL_NONE);
    });
}

void addAll(spa_dict const* dictionary, PipeWireConnection::Properties& properties)
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

/// Other errors of the core tell of objects that went away while they were asked about. A server that dies with
/// something unread resets the connection.
bool endsConnection(int result)
{
    return result == -EPIPE || result == -ECONNRESET || result == -ENOTCONN || result == -EPROTO || result == -EIO;
}

bool isAudioNode(PipeWireConnection::Object const& object)
{
    auto const& kind = object.get(PW_KEY_MEDIA_CLASS);
    return object.type == PW_TYPE_INTERFACE_Node && (kind.starts_with("Audio/") || kind == "Stream/Output/Audio");
}

} // namespace

std::string const& PipeWireConnection::Object::get(std::string_view key) const
{
    static std::string const none;
    auto const found = properties.find(key);
    return found == properties.end() ? none : found->second;
}

std::uint32_t PipeWireConnection::Object::number(std::string_view key) const
{
    auto const& text = get(key);
    std::uint32_t value = PW_ID_ANY;
    std::from_chars(text.data(), text.data() + text.size(), value);
    return value;
}

PipeWireConnection::PipeWireConnection()
{
    initialise();
    m_defaults.connection = m_settings.connection = this;
    m_loop = pw_thread_loop_new("pipewire", nullptr);
    auto* const loop = pw_thread_loop_get_loop(m_loop);
    m_context = pw_context_new(
        loop, pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", PW_KEY_APP_NAME, "Lingrelay", nullptr), 0);
    m_changeEvent = pw_loop_add_event(
        loop, [](void* self, std::uint64_t) { static_cast<PipeWireConnection*>(self)->turn(); }, this);
    m_timer = pw_loop_add_timer(
        loop,
        [](void* data, std::uint64_t) {
            auto& self = *static_cast<PipeWireConnection*>(data);
            if (!self.m_core)
                self.connect();
            else if (!self.m_ready && Clock::now() - self.m_since > answerLimit)
                self.lose();
            else if (self.m_ready)
                self.checkMetadata();
            self.each([](Member& member) { member.tick(); });
        },
        this);
    timespec interval{0, tickNanoseconds};
    pw_loop_update_timer(loop, m_timer, &interval, &interval, false);
    pw_thread_loop_start(m_loop);
    Lock const lock(*this);
    if (connect())
        waitUntil(syncLimit, [this] { return m_ready; });
}

PipeWireConnection::~PipeWireConnection()
{
    {
        Lock const lock(*this);
        sync(); // what was asked for is done
    }
    pw_thread_loop_stop(
        m_loop); // before what its events refer to; a loop that waits does not bear the loss of a source
    disconnect();
    auto* const loop = pw_thread_loop_get_loop(m_loop);
    pw_loop_destroy_source(loop, m_timer);
    pw_loop_destroy_source(loop, m_changeEvent);
    if (m_context) // none without the library's own settings
        pw_context_destroy(m_context);
    pw_thread_loop_destroy(m_loop);
}

bool PipeWireConnection::connect()
{
    m_core = m_context ? pw_context_connect(m_context, nullptr, 0) : nullptr;
    if (!m_core)
        return false;
    static pw_core_events const coreEvents = [] {
        pw_core_events events{};
        events.version = PW_VERSION_CORE_EVENTS;
        events.done = onDone;
        events.error = onError;
        return events;
    }();
    static pw_registry_events const registryEvents = [] {
        pw_registry_events events{};
        events.version = PW_VERSION_REGISTRY_EVENTS;
        events.global = onGlobal;
        events.global_remove = onGlobalRemove;
        return events;
    }();
    spa_zero(m_coreListener);
    spa_zero(m_registryListener);
    pw_core_add_listener(m_core, &m_coreListener, &coreEvents, this);
    m_registry = pw_core_get_registry(m_core, PW_VERSION_REGISTRY, 0);
    pw_registry_add_listener(m_registry, &m_registryListener, &registryEvents, this);
    ++m_generation;
    m_since = Clock::now();
    m_checkTime = echoTime;
    m_nextCheck = m_since + m_checkTime;
    m_rounds = m_done = 0;
    m_pending = pw_core_sync(m_core, PW_ID_CORE, 0);
    return true;
}

void PipeWireConnection::disconnect()
{
    m_lost = false;
    if (!m_core)
        return;
    if (std::exchange(m_ready, false))
        each([](Member& member) { member.disconnected(); });
    for (auto const& [id, watch] : m_nodes) {
        spa_hook_remove(&watch->listener);
        pw_proxy_destroy(watch->proxy);
    }
    m_nodes.clear();
    unbind(m_defaults);
    unbind(m_settings);
    m_objects.clear();
    m_held.clear();
    m_written.clear();
    spa_hook_remove(&m_registryListener);
    pw_proxy_destroy(reinterpret_cast<pw_proxy*>(m_registry));
    m_registry = nullptr;
    spa_hook_remove(&m_coreListener);
    pw_core_disconnect(std::exchange(m_core, nullptr));
}

void PipeWireConnection::add(Member& member)
{
    m_members.insert(&member);
    if (!m_ready)
        return;
    member.connected();
    member.changed();
}

void PipeWireConnection::remove(Member& member) { m_members.erase(&member); }

/// Members may come and go in their calls.
template <class Call> void PipeWireConnection::each(Call call)
{
    auto const members = m_members;
    for (auto* member : members) {
        if (m_members.contains(member))
            call(*member);
    }
}

void PipeWireConnection::noteChange()
{
    m_changed = true;
    pw_loop_signal_event(pw_thread_loop_get_loop(m_loop), m_changeEvent);
}

/// What callbacks of the library have found out, after them: they must not take down what called them.
void PipeWireConnection::turn()
{
    if (m_lost) {
        Log::write("[sound] the server is gone");
        disconnect();
    }
    if (m_core && !m_ready && m_rounds == fullRounds) {
        m_ready = true;
        m_changed = true;
        each([](Member& member) { member.connected(); });
    }
    if (m_ready && std::exchange(m_changed, false))
        each([](Member& member) { member.changed(); });
    pw_thread_loop_signal(m_loop, false);
}

void PipeWireConnection::onDone(void* data, std::uint32_t id, int sequence)
{
    auto& self = *static_cast<PipeWireConnection*>(data);
    if (id != PW_ID_CORE)
        return;
    self.m_done = sequence;
    if (sequence == self.m_pending && self.m_rounds < fullRounds && ++self.m_rounds < fullRounds)
        self.m_pending = pw_core_sync(self.m_core, PW_ID_CORE, 0);
    self.noteChange();
}

void PipeWireConnection::onError(void* data, std::uint32_t id, int, int result, char const* message)
{
    auto& self = *static_cast<PipeWireConnection*>(data);
    if (id != PW_ID_CORE || !endsConnection(result))
        return;
    Log::write("[sound] {}", message ? message : "connection lost");
    self.lose();
}

void PipeWireConnection::lose()
{
    m_lost = true;
    noteChange();
}

void PipeWireConnection::onGlobal(
    void* data, std::uint32_t id, std::uint32_t, char const* type, std::uint32_t, spa_dict const* properties)
{
    auto& self = *static_cast<PipeWireConnection*>(data);
    Object object{id, type, {}};
    addAll(properties, object.properties);
    if (object.type == PW_TYPE_INTERFACE_Metadata)
        self.bindMetadata(object);
    if (isAudioNode(object)) {
        object.complete = false;
        self.watchNode(object);
    }
    self.m_objects[id] = std::move(object);
    self.noteChange();
}

void PipeWireConnection::onGlobalRemove(void* data, std::uint32_t id)
{
    auto& self = *static_cast<PipeWireConnection*>(data);
    self.m_objects.erase(id);
    self.m_held.erase(id);
    std::erase_if(self.m_written, [id](auto const& entry) { return entry.first.first == id && id != 0; });
    if (auto const found = self.m_nodes.find(id); found != self.m_nodes.end()) {
        spa_hook_remove(&found->second->listener);
        pw_proxy_destroy(found->second->proxy);
        self.m_nodes.erase(found);
    }
    for (auto* metadata : {&self.m_defaults, &self.m_settings}) {
        if (metadata->proxy && metadata->id == id)
            self.unbind(*metadata);
        // Told later, if at all; the next object can have its number by then.
        std::erase_if(metadata->values, [id](auto const& entry) { return entry.first.first == id && id != 0; });
    }
    self.noteChange();
}

void PipeWireConnection::bindMetadata(Object const& object)
{
    auto const& name = object.get(PW_KEY_METADATA_NAME);
    auto* const metadata = name == "default" ? &m_defaults : name == "settings" ? &m_settings : nullptr;
    if (!metadata || metadata->proxy)
        return;
    metadata->id = object.id;
    bind(*metadata);
}

void PipeWireConnection::bind(Metadata& metadata)
{
    static pw_metadata_events const events = [] {
        pw_metadata_events result{};
        result.version = PW_VERSION_METADATA_EVENTS;
        result.property = onProperty;
        return result;
    }();
    metadata.proxy = static_cast<pw_proxy*>(
        pw_registry_bind(m_registry, metadata.id, PW_TYPE_INTERFACE_Metadata, PW_VERSION_METADATA, 0));
    spa_zero(metadata.listener);
    pw_metadata_add_listener(reinterpret_cast<pw_metadata*>(metadata.proxy), &metadata.listener, &events, &metadata);
}

/// What cannot be right is read anew, after ever longer times. A machine may have no microphone at all: then a few are
/// enough, until there is one.
void PipeWireConnection::checkMetadata()
{
    auto const now = Clock::now();
    bool lost = false;
    std::erase_if(m_written, [&](auto const& entry) {
        auto const& [value, until] = entry.second;
        auto const found = m_defaults.values.find(entry.first);
        bool const there = found == m_defaults.values.end() ? !value : value && found->second.value == value->value;
        if (!there && now >= until) {
            lost = true;
            if (!value) // that it is gone would not be told again
                m_defaults.values.erase(entry.first);
        }
        return there || now >= until;
    });
    bool const hopeless = m_checkTime > longestHope && (!hasDevice("Audio/Sink") || !hasDevice("Audio/Source"));
    if (!doubtsDefaults()) {
        m_checkTime = echoTime;
        m_nextCheck = now + m_checkTime;
    } else if (now >= m_nextCheck && !hopeless) {
        lost = true;
        m_checkTime = std::min(2 * m_checkTime, longestCheck);
        m_nextCheck = now + m_checkTime;
    }
    if (lost)
        readMetadata();
}

void PipeWireConnection::readMetadata()
{
    if (!managed())
        return;
    spa_hook_remove(&m_defaults.listener);
    pw_proxy_destroy(std::exchange(m_defaults.proxy, nullptr));
    bind(m_defaults);
    noteChange();
}

bool PipeWireConnection::hasDevice(std::string_view side) const
{
    return std::any_of(m_objects.begin(), m_objects.end(), [side](auto const& entry) {
        auto const& kind = entry.second.get(PW_KEY_MEDIA_CLASS);
        return entry.second.type == PW_TYPE_INTERFACE_Node && (kind.starts_with(side) || kind == "Audio/Duplex");
    });
}

/// A default is a device that there is, and the chosen one when that is there. A session manager passes over a chosen
/// device that cannot be used, so such a doubt can stay.
bool PipeWireConnection::doubtsDefaults() const
{
    auto const doubted = [this](std::string const& now, std::string const& chosen) {
        return !node(now) || (now != chosen && node(chosen));
    };
    return managed()
        && (doubted(nameIn("default.audio.sink"), nameIn("default.configured.audio.sink"))
            || doubted(nameIn("default.audio.source"), nameIn("default.configured.audio.source")));
}

void PipeWireConnection::unbind(Metadata& metadata)
{
    if (!metadata.proxy)
        return;
    spa_hook_remove(&metadata.listener);
    pw_proxy_destroy(std::exchange(metadata.proxy, nullptr));
    metadata.values.clear();
}

int PipeWireConnection::onProperty(
    void* data, std::uint32_t subject, char const* key, char const* type, char const* value)
{
    auto& metadata = *static_cast<Metadata*>(data);
    if (!key)
        std::erase_if(metadata.values, [&](auto const& entry) { return entry.first.first == subject; });
    else if (value)
        metadata.values[{subject, key}] = {type ? type : "", value};
    else
        metadata.values.erase({subject, key});
    if (auto& self = *metadata.connection; key && &metadata == &self.m_defaults) {
        auto const told = value ? std::optional(MetadataValue{type ? type : "", value}) : std::nullopt;
        self.each([&](Member& member) { member.told(subject, key, told); });
    }
    metadata.connection->noteChange();
    return 0;
}

/// The registry tells only a part of a node's properties.
void PipeWireConnection::watchNode(Object const& object)
{
    static pw_node_events const events = [] {
        pw_node_events result{};
        result.version = PW_VERSION_NODE_EVENTS;
        result.info = onNodeInfo;
        return result;
    }();
    auto watch = std::make_unique<NodeWatch>();
    watch->connection = this;
    watch->id = object.id;
    watch->proxy
        = static_cast<pw_proxy*>(pw_registry_bind(m_registry, object.id, PW_TYPE_INTERFACE_Node, PW_VERSION_NODE, 0));
    pw_node_add_listener(reinterpret_cast<pw_node*>(watch->proxy), &watch->listener, &events, watch.get());
    m_nodes[object.id] = std::move(watch);
}

void PipeWireConnection::onNodeInfo(void* data, pw_node_info const* info)
{
    auto const& watch = *static_cast<NodeWatch*>(data);
    auto const found = watch.connection->m_objects.find(watch.id);
    bool const news = found != watch.connection->m_objects.end() && info->props
        && (!found->second.complete || (info->change_mask & PW_NODE_CHANGE_MASK_PROPS));
    if (!news)
        return;
    addAll(info->props, found->second.properties);
    found->second.complete = true;
    watch.connection->noteChange();
}

PipeWireConnection::Object const* PipeWireConnection::find(std::uint32_t id) const
{
    auto const found = m_objects.find(id);
    return found == m_objects.end() ? nullptr : &found->second;
}

PipeWireConnection::Object const* PipeWireConnection::node(std::string_view name) const
{
    for (auto const& [id, object] : m_objects) {
        if (!name.empty() && object.type == PW_TYPE_INTERFACE_Node && object.get(PW_KEY_NODE_NAME) == name)
            return &object;
    }
    return nullptr;
}

std::vector<PipeWireConnection::Object const*> PipeWireConnection::ports(
    std::uint32_t node, std::string_view direction) const
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

bool PipeWireConnection::foreignStream(Object const& object) const
{
    if (object.type != PW_TYPE_INTERFACE_Node || !object.complete
        || object.get(PW_KEY_MEDIA_CLASS) != "Stream/Output/Audio")
        return false;
    // Both ends of a filter or a loopback: their sound is captured where it comes from.
    if (!object.get(PW_KEY_NODE_LINK_GROUP).empty())
        return false;
    // Another instance's voice would be translated here, and this one's there, without end.
    if (object.get(PW_KEY_NODE_NAME).starts_with("lingrelay."))
        return false;
    auto const client = object.number(PW_KEY_CLIENT_ID);
    if (client == pw_proxy_get_bound_id(reinterpret_cast<pw_proxy*>(pw_core_get_client(m_core))))
        return false;
    auto const* const owner = find(client);
    return !owner || owner->number(PW_KEY_SEC_PID) != static_cast<std::uint32_t>(::getpid());
}

void PipeWireConnection::hold(std::uint32_t stream)
{
    m_held[stream] = Clock::now() + holdTime;
    each([](Member& member) { member.changed(); });
}

bool PipeWireConnection::held(std::uint32_t stream) const
{
    auto const found = m_held.find(stream);
    return found != m_held.end() && Clock::now() < found->second;
}

double PipeWireConnection::graphRate() const
{
    for (auto const* key : {"clock.force-rate", "clock.rate"}) {
        auto const found = m_settings.values.find({0, key});
        if (found == m_settings.values.end())
            continue;
        if (auto const rate = std::atof(found->second.value.c_str()); rate > 0)
            return rate;
    }
    return usualRate;
}

std::optional<PipeWireConnection::MetadataValue> PipeWireConnection::metadata(
    std::uint32_t subject, std::string const& key) const
{
    auto const found = m_defaults.values.find({subject, key});
    return found == m_defaults.values.end() ? std::nullopt : std::optional(found->second);
}

void PipeWireConnection::setMetadata(std::uint32_t subject, char const* key, std::optional<MetadataValue> const& value)
{
    if (!m_defaults.proxy)
        return;
    m_written[{subject, key}] = {value, Clock::now() + echoTime};
    pw_metadata_set_property(reinterpret_cast<pw_metadata*>(m_defaults.proxy), subject, key,
        value && !value->type.empty() ? value->type.c_str() : nullptr, value ? value->value.c_str() : nullptr);
}

std::string PipeWireConnection::nameIn(char const* key) const
{
    auto const entry = metadata(0, key);
    return entry ? jsonString(parseJson(entry->value).value_or(Json()), "name").value_or("") : "";
}

bool PipeWireConnection::sync()
{
    if (!m_ready)
        return false;
    auto const sequence = pw_core_sync(m_core, PW_ID_CORE, 0);
    return waitUntil(syncLimit, [this, sequence] { return m_done >= sequence || !m_ready; }) && m_ready;
}

bool PipeWireConnection::waitUntil(double limit, std::function<bool()> const& done)
{
    timespec deadline{};
    pw_thread_loop_get_time(m_loop, &deadline, static_cast<std::int64_t>(limit * 1e9));
    while (!done()) {
        if (pw_thread_loop_timed_wait_full(m_loop, &deadline) != 0)
            return done();
    }
    return true;
}

} // namespace lingrelay
