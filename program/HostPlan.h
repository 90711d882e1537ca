#pragma once

#include "config/Hosts.h"
#include "program/LocalService.h"

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

    /// What the local service, where the plan uses it, cannot do of what the settings ask for; empty: nothing.
    std::string localProblem(LocalService::Address const& local, AppSettings const& settings) const
    {
        return localService && hosts.stt.empty() ? local.problem(settings) : std::string();
    }

    /// The hosts, those that are not known filled from `local`.
    Hosts hostsWith(Hosts const& local) const;
};

} // namespace lingrelay
