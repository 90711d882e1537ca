#pragma once

#include "base/Time.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>

#include <pipewire/extensions/metadata.h>
#include <pipewire/pipewire.h>

namespace lingrelay {

/// A mirror of one of the server's metadata objects: values by subject (an object's id, or 0) and key. "default" says
/// which devices are the defaults and where streams go. All on the connection's loop.
///
/// The server of Debian 12 (0.3.65) loses what changes at a moment at which another program begins to watch, which many
/// do when they begin to play. What may be lost is read anew: all of it at once, at the time that `readAt` was told.
/// Every reading makes this program one that begins to watch, so it is not done without a doubt.
class PipeWireMetadata {
public:
    struct Value {
        std::string type;
        std::string value;
        bool operator==(Value const&) const = default;
    };
    using Values = std::map<std::pair<std::uint32_t, std::string>, Value>;

    /// Gets each value as it comes, nothing when it is removed. Several can come at once, of which the mirror then
    /// shows the last alone. Called in the library's callbacks.
    using Told = std::function<void(std::uint32_t subject, std::string const& key, std::optional<Value> const& value)>;

    explicit PipeWireMetadata(Told told) : m_told(std::move(told)) { }
    PipeWireMetadata(PipeWireMetadata const&) = delete;
    PipeWireMetadata& operator=(PipeWireMetadata const&) = delete;

    void bind(pw_registry* registry, std::uint32_t id);
    void unbind();
    bool bound() const { return m_proxy != nullptr; }
    std::uint32_t id() const { return m_id; }

    Values const& values() const { return m_values; }
    std::optional<Value> get(std::uint32_t subject, std::string const& key) const;
    /// The "name" in a value of the server itself, such as the default sink's; empty when there is none.
    std::string name(char const* key) const;
    /// Nothing removes the key. A value that does not come back as news within a second is read.
    void set(std::uint32_t subject, char const* key, std::optional<Value> const& value);
    /// The object is gone: its values are told later, if at all, and the next object can have its number by then.
    void forget(std::uint32_t subject);

    /// News of that moment or before may be lost.
    void readAt(Instant when);
    /// To be called a few times a second.
    void tick();

private:
    static int onProperty(void* self, std::uint32_t subject, char const* key, char const* type, char const* value);

    void listen();
    void unlisten();
    void take(std::uint32_t subject, std::string const& key, std::optional<Value> const& value);
    void missWritten(Instant now);

    Told m_told;
    pw_registry* m_registry = nullptr;
    std::uint32_t m_id = 0;
    pw_proxy* m_proxy = nullptr;
    spa_hook m_listener{};
    Values m_values;
    struct Written {
        std::optional<Value> value;
        Instant until; ///< when it must have come back
    };
    std::map<std::pair<std::uint32_t, std::string>, Written> m_written;
    std::optional<Instant> m_nextReading;
    Instant m_lastReading{}; ///< the latest that is wanted
};

} // namespace lingrelay
