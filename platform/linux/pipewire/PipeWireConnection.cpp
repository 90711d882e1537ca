#include "platform/linux/pipewire/PipeWireConnection.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <unistd.h>

namespace lingrelay {

namespace {

constexpr double retryTime = 0.2;
constexpr double tickTime = 0.5;

pw_context* newContext(pw_thread_loop* thread)
{
    // This configuration brings the module that makes the data thread a real-time thread where that is allowed.
    auto* properties = pw_properties_new(PW_KEY_CONFIG_NAME, "client-rt.conf", PW_KEY_APP_NAME, "Lingrelay", nullptr);
    return pw_context_new(pw_thread_loop_get_loop(thread), properties, 0);
}

} // namespace

PipeWireConnection::PipeWireConnection()
{
    pw_init(nullptr, nullptr);
    // A server that is not there is no news for standard error.
    if (!std::getenv("PIPEWIRE_DEBUG"))
        pw_log_set_level(SPA_LOG_LEVEL_NONE);
    m_thread = pw_thread_loop_new("lingrelay-sound", nullptr);
    m_context = newContext(m_thread);
    m_change = std::make_unique<LoopEvent>(loop(), [this] { tellChange(m_participants); });
    m_break = std::make_unique<LoopEvent>(loop(), [this] {
        disconnect();
        connect();
    });
    m_retry = std::make_unique<LoopTimer>(loop(), [this] { connect(); });
    m_tick = std::make_unique<LoopTimer>(loop(), [this] { tellChange(m_ticking); });
    pw_thread_loop_start(m_thread);
    Lock const lock(*this);
    connect();
    if (m_core)
        waitUntil([this] { return connected(); });
}

PipeWireConnection::~PipeWireConnection()
{
    {
        Lock const lock(*this);
        roundtrip();
    }
    pw_thread_loop_stop(m_thread);
    disconnect();
    m_tick.reset();
    m_retry.reset();
    m_break.reset();
    m_change.reset();
    if (m_context)
        pw_context_destroy(m_context);
    pw_thread_loop_destroy(m_thread);
    pw_deinit();
}

void PipeWireConnection::connect()
{
    if (m_core)
        return;
    m_core = m_context ? pw_context_connect(m_context, nullptr, 0) : nullptr;
    if (!m_core)
        return m_retry->once(retryTime);
    static constexpr auto events = [] {
        pw_core_events all{};
        all.version = PW_VERSION_CORE_EVENTS;
        all.done = [](void* self, std::uint32_t id, int sequence) {
            if (id == PW_ID_CORE)
                static_cast<PipeWireConnection*>(self)->done(sequence);
        };
        // Other errors of the core are about single requests. This one comes inside a call of the core itself, which
        // must end first.
        all.error = [](void* self, std::uint32_t id, int, int result, char const*) {
            if (id == PW_ID_CORE && result == -EPIPE)
                static_cast<PipeWireConnection*>(self)->m_break->signal();
        };
        return all;
    }();
    m_coreHook = {};
    pw_core_add_listener(m_core, &m_coreHook, &events, this);
    m_registry = std::make_unique<PipeWireRegistry>(m_core, [this] { m_change->signal(); });
    // The first answer comes after the list of objects, the second after what the objects say of themselves.
    m_firstSyncs = 2;
    m_asked = pw_core_sync(m_core, PW_ID_CORE, 0);
}

void PipeWireConnection::disconnect()
{
    if (m_ready.exchange(false)) {
        for (auto* participant : m_participants)
            participant->serverGone();
    }
    m_registry.reset();
    if (m_core) {
        spa_hook_remove(&m_coreHook);
        pw_core_disconnect(m_core);
        m_core = nullptr;
    }
    pw_thread_loop_signal(m_thread, false);
}

void PipeWireConnection::done(int sequence)
{
    m_answered = sequence;
    if (m_firstSyncs > 0 && sequence == m_asked) {
        if (--m_firstSyncs > 0) {
            m_asked = pw_core_sync(m_core, PW_ID_CORE, 0);
            return;
        }
        m_readySince = m_unmanagedSince = Clock::now();
        m_managed = false;
        m_ready = true;
        for (auto* participant : m_participants)
            participant->serverCame();
        tellChange(m_participants);
    }
    pw_thread_loop_signal(m_thread, false);
}

void PipeWireConnection::tellChange(std::vector<Participant*> const& participants)
{
    if (!m_ready)
        return;
    auto const managed = m_registry->standard() != nullptr;
    if (std::exchange(m_managed, managed) && !managed)
        m_unmanagedSince = Clock::now();
    for (auto* participant : participants)
        participant->changed();
    pw_thread_loop_signal(m_thread, false);
}

void PipeWireConnection::join(Participant& participant, Ticks ticks)
{
    m_participants.push_back(&participant);
    if (ticks == Ticks::yes) {
        m_ticking.push_back(&participant);
        m_tick->every(tickTime);
    }
    if (!m_ready)
        return;
    participant.serverCame();
    participant.changed();
}

void PipeWireConnection::leave(Participant& participant)
{
    if (m_ready)
        participant.serverGone();
    std::erase(m_participants, &participant);
    std::erase(m_ticking, &participant);
    if (m_ticking.empty())
        m_tick->stop();
}

double PipeWireConnection::age() const { return m_ready ? toSeconds(Clock::now() - m_readySince) : 0; }

double PipeWireConnection::unmanaged() const
{
    return !m_ready || m_registry->standard() ? 0 : toSeconds(Clock::now() - m_unmanagedSince);
}

bool PipeWireConnection::isOurs(PipeWireRegistry::Object const& node) const
{
    auto const client = node.idIn(PW_KEY_CLIENT_ID);
    if (!client)
        return false;
    if (client == pw_proxy_get_bound_id(reinterpret_cast<pw_proxy*>(pw_core_get_client(m_core))))
        return true;
    auto const* owner = m_registry->find(*client);
    return owner && owner->idIn(PW_KEY_SEC_PID) == static_cast<std::uint32_t>(::getpid());
}

bool PipeWireConnection::isForeignPlayback(PipeWireRegistry::Object const& node) const
{
    // Filters and loopbacks pass on what others play, and would bring it a second time.
    return node.kind == PipeWireRegistry::Kind::node && node.complete
        && node[PW_KEY_MEDIA_CLASS] == "Stream/Output/Audio" && node[PW_KEY_NODE_LINK_GROUP].empty() && !isOurs(node);
}

bool PipeWireConnection::waitUntil(std::function<bool()> const& condition, double limit)
{
    timespec end{};
    pw_thread_loop_get_time(m_thread, &end, static_cast<std::int64_t>(limit * SPA_NSEC_PER_SEC));
    while (!condition()) {
        if (pw_thread_loop_timed_wait_full(m_thread, &end) != 0)
            return condition();
    }
    return true;
}

bool PipeWireConnection::roundtrip()
{
    if (!m_ready)
        return false;
    auto const asked = pw_core_sync(m_core, PW_ID_CORE, 0);
    waitUntil([&] { return !m_ready || m_answered >= asked; });
    return m_ready && m_answered >= asked;
}

} // namespace lingrelay
