#pragma once

#include "cli/MachineSound.h"

#include <memory>

namespace lingrelay {

/// The sound system of this machine, connected while it lives. Also when there is none: it connects once there is one.
class Sound {
public:
    Sound();
    ~Sound();

    MachineSound machine();
    bool connected() const;

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace lingrelay
