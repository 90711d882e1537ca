#pragma once

#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireObjects.h"

#include <cstdint>
#include <map>

namespace lingrelay {

/// Streams that the session manager is about to give other ports, for a device with other channels. A stream that is
/// kept running by a link of ours meanwhile can fail for good, so nobody links it until the session manager has linked
/// it to that device. On the connection's loop.
class StreamHolds {
public:
    explicit StreamHolds(PipeWireObjects const& objects) : m_objects(objects) { }

    /// From now on; a link of before is not the one that is waited for.
    void hold(std::uint32_t stream, std::uint32_t device);
    bool held(std::uint32_t stream) const;
    /// To be called when objects have changed.
    void update();
    void forget(std::uint32_t stream) { m_holds.erase(stream); }
    void clear() { m_holds.clear(); }

private:
    struct Hold {
        std::uint32_t device = 0;
        std::uint64_t newest = 0; ///< the highest serial number of before
        Instant until{};
        bool moved = false; ///< it is linked to the device
    };
    bool moved(std::uint32_t stream, Hold const& hold) const;

    PipeWireObjects const& m_objects;
    std::map<std::uint32_t, Hold> m_holds; ///< by stream
};

} // namespace lingrelay
