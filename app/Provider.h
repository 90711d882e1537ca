#pragma once

#include "program/Assembly.h"
#include "program/HostPlan.h"
#include "program/LocalService.h"
#include "program/Secrecy.h"

#include <functional>
#include <memory>
#include <string>

namespace lingrelay {

/// Whom the window program translates with: the hosts of the settings, or a local service that it starts, and starts
/// anew when it dies. What is wrong with them stands in the model's status. Main; the assembly outlives it.
class Provider {
public:
    /// Reads the settings, and contacts nobody yet.
    Provider(Scheduler& main, Assembly& assembly, std::shared_ptr<Secrecy> secrecy);

    /// From here on the assembly learns the hosts, whenever they change.
    void start();
    /// A key of the user's own counts at once, and takes other hosts with it.
    void adoptKey();
    /// Says in the status what is wrong, or takes back what was.
    void tell();
    /// The assembly is told nothing any more.
    void leave() { m_left = true; }

    bool usesLocalService() const { return m_plan.localService; }
    /// What the local service, where it is used, cannot do of what the settings ask for; empty: nothing.
    std::string unable(AppSettings const& settings) const { return m_plan.localProblem(m_local, settings); }

    /// The assembly knows the hosts; called each time.
    std::function<void()> onConnected;
    /// A local service is there, the first or one in the place of one that has ended; after `onConnected`.
    std::function<void()> onServiceStarted;

private:
    void startService();
    void connect(Result<LocalService::Address> const& address);

    Scheduler& m_main;
    Assembly& m_assembly;
    std::shared_ptr<Secrecy> m_secrecy;
    HostPlan m_plan;
    LocalService m_service;
    LocalService::Address m_local; ///< once it is there
    bool m_serviceStarted = false;
    bool m_left = false;
    std::string m_complaint; ///< why there is no service
    std::string m_shown; ///< the complaint that stands in the status
};

} // namespace lingrelay
