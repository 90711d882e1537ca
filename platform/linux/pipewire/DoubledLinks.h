#pragma once

#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireConnection.h"

#include <functional>
#include <map>

namespace lingrelay {

/// The session manager of Debian 12 (WirePlumber 0.4) forgets a link when the device of the one before goes away while
/// it is being made, and then links the stream once more: a stream that is in the mute sink would be heard all the
/// same. This ends such links; those that others have made are theirs. On the connection's loop.
class DoubledLinks {
public:
    explicit DoubledLinks(PipeWireConnection& connection) : m_connection(connection) { }

    /// Of the streams that were sent into the sink. To be called again and again while there are any.
    void end(std::uint32_t sink, std::function<bool(std::uint32_t stream)> const& sent);
    bool any() const { return !m_since.empty(); }
    void clear() { m_since.clear(); }

private:
    PipeWireConnection& m_connection;
    std::map<std::uint32_t, Instant> m_since; ///< by link
};

} // namespace lingrelay
