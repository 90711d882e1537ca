#pragma once

#include "platform/linux/pipewire/PipeWireConnection.h"

#include <map>
#include <optional>
#include <set>

namespace lingrelay {

/// To which device each program's stream is sent: what the session manager's metadata says of it, what the session
/// manager remembers of a program, and by which rules it chooses. Under the connection's lock.
class StreamTargets {
public:
    using Object = PipeWireConnection::Object;
    using Value = PipeWireConnection::MetadataValue;
    /// Where a stream belonged before it was muted.
    struct Before {
        std::optional<Value> target;
        bool follows = false; ///< the default, whatever device it asks for itself
    };
    using Befores = std::map<std::uint32_t, Before>; ///< by stream

    static constexpr char const* key = "target.object";

    explicit StreamTargets(PipeWireConnection& connection) : m_connection(connection) { }

    /// The streams with a target, by stream.
    std::map<std::uint32_t, Value> all() const;
    std::optional<Value> get(std::uint32_t stream) const { return m_connection.metadata().get(stream, key); }
    void set(std::uint32_t stream, std::optional<Value> const& target);
    void giveBack(Befores const& befores);

    /// The device that the session manager remembers of the stream's program, or was lent.
    std::optional<Value> remembered(std::uint32_t stream) const;
    void forget(std::uint32_t stream);
    /// What it remembers is the default, whatever device the program asks for itself.
    bool follows(std::uint32_t stream) const;
    /// For the session manager a target that is set is what the user has chosen, and the program's own device is
    /// forgotten with it. Named in the place that counts less, that is remembered, and the stream stays at its target.
    /// The device that was lent; nothing when the target chooses none.
    std::optional<Value> lend(std::uint32_t stream, std::optional<Value> const& target);
    /// To be called after streams were given targets: for the session manager each is a choice of the user's, who has
    /// then left the device that it remembers of the program. Makes it remember those devices again.
    void keepRemembered(std::set<std::uint32_t> const& except = {});

    /// To be called before the stream is given that target.
    void holdFor(std::uint32_t stream, std::optional<Value> const& target);

private:
    Object const* chosenOutput(std::optional<Value> const& target) const;
    Object const* deviceOf(std::uint32_t stream, std::optional<Value> const& target) const;
    void remember(std::uint32_t stream, Value const& device);

    PipeWireConnection& m_connection;
};

} // namespace lingrelay
