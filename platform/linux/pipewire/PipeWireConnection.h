#pragma once

#include "base/Time.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

namespace lingrelay {

/// The program's one connection to the sound server: a mirror of its objects, its metadata, and the way back after it
/// was away. All that is called "on the loop" runs on the connection's thread with its lock held.
class PipeWireConnection {
public:
    using Properties = std::map<std::string, std::string, std::less<>>;
    struct Object {
        std::uint32_t id = 0;
        std::string type;
        Properties properties;
        bool complete = true; ///< of an audio node: the properties are all there, not only the registry's

        std::string const& get(std::string_view key) const;
        std::uint32_t number(std::string_view key) const; ///< PW_ID_ANY when there is none
    };
    struct MetadataValue {
        std::string type;
        std::string value;
        bool operator==(MetadataValue const&) const = default;
    };

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
    bool managed() const { return m_defaults.proxy != nullptr; }
    pw_core* core() const { return m_core; }
    /// Counts the connections: with each, all objects of the one before are gone.
    int generation() const { return m_generation; }
    pw_registry* registry() const { return m_registry; }

    std::map<std::uint32_t, Object> const& objects() const { return m_objects; }
    Object const* find(std::uint32_t id) const;
    Object const* node(std::string_view name) const;
    /// Of a node, in the order of its channels. What gives sound is "out": a microphone's ports, an output's monitors.
    std::vector<Object const*> ports(std::uint32_t node, std::string_view direction) const;
    /// A playing stream of another program, and no filter.
    bool foreignStream(Object const& object) const;
    /// The session manager is about to give the stream other ports, for a device with other channels. A stream that is
    /// kept running by a link of ours meanwhile can fail for good, so for a moment nobody links it.
    void hold(std::uint32_t stream);
    bool held(std::uint32_t stream) const;
    double graphRate() const;

    std::optional<MetadataValue> metadata(std::uint32_t subject, std::string const& key) const;
    std::map<std::pair<std::uint32_t, std::string>, MetadataValue> const& metadata() const { return m_defaults.values; }
    /// Nothing removes the key.
    void setMetadata(std::uint32_t subject, char const* key, std::optional<MetadataValue> const& value);
    /// Reads all anew. A server of this version loses what changes at a moment at which another program begins to
    /// watch, which many do when they begin to play.
    void readMetadata();
    /// The "name" of a metadata value such as the default sink's; empty when there is none.
    std::string nameIn(char const* key) const;

    /// Not on the loop: waits until all that was asked for has happened, a second at most.
    bool sync();
    /// Not on the loop: waits for changes until `done`, for that many seconds at most.
    bool waitUntil(double limit, std::function<bool()> const& done);

private:
    struct Metadata {
        PipeWireConnection* connection = nullptr;
        pw_proxy* proxy = nullptr;
        std::uint32_t id = 0;
        spa_hook listener{};
        std::map<std::pair<std::uint32_t, std::string>, MetadataValue> values;
    };
    struct NodeWatch {
        PipeWireConnection* connection = nullptr;
        std::uint32_t id = 0;
        pw_proxy* proxy = nullptr;
        spa_hook listener{};
    };

    static void onDone(void* self, std::uint32_t id, int sequence);
    static void onError(void* self, std::uint32_t id, int sequence, int result, char const* message);
    static void onGlobal(void* self, std::uint32_t id, std::uint32_t permissions, char const* type,
        std::uint32_t version, spa_dict const* properties);
    static void onGlobalRemove(void* self, std::uint32_t id);
    static int onProperty(void* metadata, std::uint32_t subject, char const* key, char const* type, char const* value);
    static void onNodeInfo(void* watch, pw_node_info const* info);

    bool connect();
    void disconnect();
    void turn();
    void lose();
    void noteChange();
    void bindMetadata(Object const& object);
    void bind(Metadata& metadata);
    void unbind(Metadata& metadata);
    void checkMetadata();
    bool doubtsDefaults() const;
    bool hasDevice(std::string_view side) const;
    void watchNode(Object const& object);
    template <class Call> void each(Call call);

    pw_thread_loop* m_loop = nullptr;
    pw_context* m_context = nullptr;
    pw_core* m_core = nullptr;
    pw_registry* m_registry = nullptr;
    spa_hook m_coreListener{};
    spa_hook m_registryListener{};
    spa_source* m_changeEvent = nullptr;
    spa_source* m_timer = nullptr;
    std::map<std::uint32_t, Object> m_objects;
    std::map<std::uint32_t, std::unique_ptr<NodeWatch>> m_nodes;
    Metadata m_defaults; ///< the session manager's "default"
    Metadata m_settings;
    /// What was written and is to come back from the server: by when.
    std::map<std::pair<std::uint32_t, std::string>, std::pair<std::optional<MetadataValue>, Instant>> m_written;
    Instant m_nextCheck{};
    Duration m_checkTime{};
    std::set<Member*> m_members;
    std::map<std::uint32_t, Instant> m_held; ///< until when
    bool m_ready = false; ///< connected, and the mirror is complete
    bool m_lost = false; ///< the server went away; not yet taken down
    bool m_changed = false;
    int m_generation = 0;
    Instant m_since{}; ///< of the connection
    int m_rounds = 0; ///< of syncs until the mirror is complete
    int m_pending = 0; ///< the sequence of such a round
    int m_done = 0; ///< the last sequence that was answered
};

} // namespace lingrelay
