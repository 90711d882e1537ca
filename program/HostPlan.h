#pragma once

#include "config/Hosts.h"

#include <string>

namespace lingrelay {

/// Where a program connects to, decided before anybody is contacted.
struct HostPlan {
    bool ownKey = false; ///< no hosted session
    bool localService = false; ///< a service must be started; it fills the empty hosts
    Hosts hosts;
    std::string lost; ///< the key or host that a damaged store held and nobody has named since: no host is used then

    /// What `named` holds, else what the shared store says, else what the build says.
    static HostPlan make(Hosts const& named);

    /// One line for the user about an address that cannot be used; empty when all can.
    std::string problem() const;

    /// The hosts, those that are not known filled from `local`.
    Hosts hostsWith(Hosts const& local) const;
};

} // namespace lingrelay
