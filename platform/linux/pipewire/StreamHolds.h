#pragma once

#include "base/Time.h"

#include <cstdint>
#include <map>

namespace lingrelay {

/// Streams that the session manager is about to give other ports, for a device with other channels. A stream that is
/// kept running by a link of ours meanwhile can fail for good, so for a moment nobody links it. On the connection's
/// loop.
class StreamHolds {
public:
    void hold(std::uint32_t stream);
    bool held(std::uint32_t stream) const;
    void forget(std::uint32_t stream) { m_until.erase(stream); }
    void clear() { m_until.clear(); }

private:
    std::map<std::uint32_t, Instant> m_until; ///< by stream
};

} // namespace lingrelay
