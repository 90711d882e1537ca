#include "platform/linux/pipewire/PipeWireConnection.h"

#include "base/Log.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <mutex>

#include <unistd.h>

namespace lingrelay {

namespace {

constexpr double syncLimit = 1.0; ///< seconds; an idle server answers in a millisecond
constexpr long tickNanoseconds = 250'000'000; ///< also between attempts to connect
constexpr Duration answerLimit = seconds(5); ///< for a new connection
constexpr double usualRate = 48000;
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

/// Other errors of the core tell of objects that went away while they were asked about. A server that dies with
/// something unread resets the connection.
bool endsConnection(int result)
{
    return result == -EPIPE || result == -ECONNRESET || result == -ENOTCONN || result == -EPROTO || result == -EIO;
}

} // namespace

PipeWireConnection::PipeWireConnection()
    : m_defaults([this](auto subject, auto const& key, auto const& value) {
        each([&](Member& member) { member.told(subject, key, value); });
        noteChange();
    })
{
    initialise();
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
                self.doubt();
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
    m_check.begin();
    m_rounds = m_done = 0;
    m_pending = pw_core_sync(m_core, PW_ID_CORE, 0);
    return true;
}

/// What news of the metadata may have been lost.
void PipeWireConnection::doubt()
{
    m_check.tick();
    m_defaults.tick();
}

void PipeWireConnection::disconnect()
{
    m_lost = false;
    if (!m_core)
        return;
    if (std::exchange(m_ready, false))
        each([](Member& member) { member.disconnected(); });
    m_defaults.unbind();
    m_settings.unbind();
    m_objects.clear();
    m_holds.clear();
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
    m_holds.update();
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
    auto const& object = self.m_objects.add(self.m_registry, id, type, properties);
    if (object.type == PW_TYPE_INTERFACE_Metadata)
        self.bindMetadata(object);
    self.noteChange();
}

void PipeWireConnection::onGlobalRemove(void* data, std::uint32_t id)
{
    auto& self = *static_cast<PipeWireConnection*>(data);
    self.m_objects.remove(id);
    self.m_holds.forget(id);
    for (auto* metadata : {&self.m_defaults, &self.m_settings}) {
        if (metadata->bound() && metadata->id() == id)
            metadata->unbind();
        metadata->forget(id);
    }
    self.noteChange();
}

void PipeWireConnection::bindMetadata(Object const& object)
{
    auto const& name = object.get(PW_KEY_METADATA_NAME);
    auto* const metadata = name == "default" ? &m_defaults : name == "settings" ? &m_settings : nullptr;
    if (metadata && !metadata->bound())
        metadata->bind(m_registry, object.id);
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

void PipeWireConnection::hold(std::uint32_t stream, std::uint32_t device)
{
    m_holds.hold(stream, device);
    each([](Member& member) { member.changed(); });
}

double PipeWireConnection::graphRate() const
{
    for (auto const* key : {"clock.force-rate", "clock.rate"}) {
        auto const set = m_settings.get(0, key);
        if (auto const rate = set ? std::atof(set->value.c_str()) : 0; rate > 0)
            return rate;
    }
    return usualRate;
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
