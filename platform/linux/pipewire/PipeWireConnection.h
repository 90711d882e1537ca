#pragma once

#include "base/Time.h"
#include "platform/linux/pipewire/DefaultsCheck.h"
#include "platform/linux/pipewire/PipeWireMetadata.h"
#include "platform/linux/pipewire/PipeWireObjects.h"
#include "platform/linux/pipewire/StreamHolds.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <pipewire/pipewire.h>

namespace lingrelay {

/// The program's one connection to the sound server, its thread, and the way back after the server was away. All that
/// is called "on the loop" runs on that thread with its lock held.
class PipeWireConnection {
public:
    using Object = PipeWireObjects::Object;
    using MetadataValue = PipeWireMetadata::Value;

    /// Whoever has objects of the server. Every call on the loop.
    class Member {
    public:
        virtual void connected() { } ///< make what is needed; the mirror is complete
        virtual void disconnected() { } ///< the server is gone: destroy all of it
        virtual void changed() { } ///< the mirror or the metadata; several changes at once
        virtual void tick() { } ///< four times a second
        /// Each value of the session manager's metadata as it comes, nothing when it is removed.
        virtual void told(
            std::uint32_t /*subject*/, std::string const& /*key*/, std::optional<MetadataValue> const& /*value*/)
        {
        }

    protected:
        ~Member() = default;
    };

    /// Holds the lock of the loop while it lives. Recursive.
    class Lock {
    public:
        explicit Lock(PipeWireConnection const& connection) : m_loop(connection.m_loop) { pw_thread_loop_lock(m_loop); }
        ~Lock() { pw_thread_loop_unlock(m_loop); }
        Lock(Lock const&) = delete;
        Lock& operator=(Lock const&) = delete;

    private:
        pw_thread_loop* m_loop;
    };

    /// Tries to connect, and waits for a moment until the mirror is complete. Goes on trying until there is a server.
    PipeWireConnection();
    ~PipeWireConnection();
    PipeWireConnection(PipeWireConnection const&) = delete;
    PipeWireConnection& operator=(PipeWireConnection const&) = delete;

    // All below under a Lock.

    /// Told `connected` at once when there is a server.
    void add(Member& member);
    /// Without a call to it.
    void remove(Member& member);

    bool connected() const { return m_ready; }
    /// A session manager is there: without it nobody gets devices.
    bool managed() const { return m_defaults.bound(); }
    pw_core* core() const { return m_core; }
    /// Counts the connections: with each, all objects of the one before are gone.
    int generation() const { return m_generation; }
    pw_registry* registry() const { return m_registry; }

    PipeWireObjects::Objects const& objects() const { return m_objects.all(); }
    Object const* find(std::uint32_t id) const { return m_objects.find(id); }
    Object const* node(std::string_view name) const { return m_objects.node(name); }
    std::vector<Object const*> ports(std::uint32_t node, std::string_view direction) const
    {
        return m_objects.ports(node, direction);
    }
    /// A playing stream of another program, and no filter.
    bool foreignStream(Object const& object) const;
    /// Nobody links the stream until it has been moved to that device.
    void hold(std::uint32_t stream, std::uint32_t device);
    bool held(std::uint32_t stream) const { return m_holds.held(stream); }
    double graphRate() const;

    /// The session manager's "default": which devices are the defaults, and where streams go.
    PipeWireMetadata& metadata() { return m_defaults; }
    PipeWireMetadata const& metadata() const { return m_defaults; }
    std::string nameIn(char const* key) const { return m_defaults.name(key); }

    /// Not on the loop: waits until all that was asked for has happened, a second at most.
    bool sync();
    /// Not on the loop: waits for changes until `done`, for that many seconds at most.
    bool waitUntil(double limit, std::function<bool()> const& done);

private:
    static void onDone(void* self, std::uint32_t id, int sequence);
    static void onError(void* self, std::uint32_t id, int sequence, int result, char const* message);
    static void onGlobal(void* self, std::uint32_t id, std::uint32_t permissions, char const* type,
        std::uint32_t version, spa_dict const* properties);
    static void onGlobalRemove(void* self, std::uint32_t id);

    bool connect();
    void disconnect();
    void turn();
    void lose();
    void noteChange();
    void doubt();
    void bindMetadata(Object const& object);
    template <class Call> void each(Call call);

    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_registry* m_registry = nullptr;
    spa_hook m_coreListener{};
    spa_hook m_registryListener{};
    spa_source* m_changeEvent = nullptr;
    spa_source* m_timer = nullptr;
    PipeWireObjects m_objects{[this] { noteChange(); }};
    PipeWireMetadata m_defaults;
    PipeWireMetadata m_settings{[this](auto&&...) { noteChange(); }};
    DefaultsCheck m_check{m_objects, m_defaults};
    StreamHolds m_holds{m_objects};
    std::set<Member*> m_members;
    bool m_ready = false; ///< connected, and the mirror is complete
    bool m_lost = false; ///< the server went away; not yet taken down
    bool m_changed = false;
    int m_generation = 0;
    Instant m_since{}; ///< of the connection
    int m_rounds = 0; ///< round trips to the server since the connection; after some the mirror is complete
    int m_pending = 0; ///< the sequence number of the round trip that is under way
    int m_done = 0; ///< the last sequence number that was answered
};

} // namespace lingrelay
