#include "core/DriverOffer.h"

#include "config/L10n.h"

namespace lingrelay {

namespace {

constexpr Duration deviceAppears = seconds(2.5); ///< after its installation

} // namespace

void DriverOffer::askIfMissed(AppSettings const& settings)
{
    auto& [main, driver, routing, overlay, shell] = m_services;
    bool const intoCall = settings.mode != AppSettings::Mode::listen && !settings.forceTwoWay;
    if (!intoCall || driver.installed() || !driver.available())
        return;
    if (!shell.ask(L10n::t("driver.title"), L10n::t("driver.body"), L10n::t("install"), L10n::t("later")))
        return;
    if (!install())
        return;
    if (settings.showOverlay)
        overlay.orderFrontRegardless();
    main.stopTimer(m_timer);
    m_timer = main.startTimer(main.now() + deviceAppears, [this] {
        if (m_services.routing.pickVirtualOutput())
            m_services.shell.buildMenu();
    });
}

bool DriverOffer::install()
{
    bool const done = m_services.driver.install();
    m_services.overlay.showStatus(L10n::t(done ? "driver.done" : "driver.fail"));
    return done;
}

} // namespace lingrelay
