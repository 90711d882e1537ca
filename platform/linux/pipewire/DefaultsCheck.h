#pragma once

#include "base/Time.h"
#include "platform/linux/pipewire/PipeWireMetadata.h"
#include "platform/linux/pipewire/PipeWireObjects.h"

namespace lingrelay {

/// Has default devices that cannot be right read anew: that they have changed can be lost news. On the connection's
/// loop.
class DefaultsCheck {
public:
    DefaultsCheck(PipeWireObjects const& objects, PipeWireMetadata& defaults) : m_objects(objects), m_defaults(defaults)
    {
    }

    /// With a new connection.
    void begin();
    /// To be called a few times a second.
    void tick();

private:
    bool doubted() const;
    bool doubted(char const* nowKey, char const* chosenKey) const;
    bool hasDevice(std::string_view side) const;

    PipeWireObjects const& m_objects;
    PipeWireMetadata& m_defaults;
    Instant m_next{};
    Duration m_pause{}; ///< between readings; ever longer
};

} // namespace lingrelay
