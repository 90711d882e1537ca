#pragma once

#include "audio/DriverInstaller.h"
#include "base/async/Lifetime.h"
#include "core/Routing.h"
#include "desktop/AppShell.h"
#include "desktop/OverlayWindow.h"

namespace lingrelay {

/// Offers to install the virtual microphone where a session would miss it. Main; all that it refers to outlives it.
class DriverOffer {
public:
    struct Services {
        Scheduler& main;
        DriverInstaller& driver;
        Routing& routing;
        OverlayWindow& overlay;
        AppShell& shell;
    };

    explicit DriverOffer(Services services) : m_services(services) { }
    ~DriverOffer() { m_services.main.stopTimer(m_timer); }

    /// Asks the user, and waits for the answer, when the session is to speak into a call and nothing is installed.
    void askIfMissed(AppSettings const& settings);
    /// Installs it, or says that this failed; `done` is told when it is installed.
    void install(std::function<void()> done);

private:
    Services m_services;
    Scheduler::TimerId m_timer = 0;
    Lifetime m_lifetime;
};

} // namespace lingrelay
