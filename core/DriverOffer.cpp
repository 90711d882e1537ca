#include "core/DriverOffer.h"

#include "config/L10n.h"

namespace lingrelay {

namespace {

constexpr Duration deviceAppears = seconds(2.5); ///< after its installation

} // namespace

void DriverOffer::askIfMissed(AppSettings const& settings)
{
    auto& driver = m_services.driver;
    bool const intoCall = settings.mode != AppSettings::Mode::listen && !settings.forceTwoWay;
    if (!intoCall || driver.installed() || !driver.available())
        return;
    if (!m_services.shell.ask(L10n::t("driver.title"), L10n::t("driver.body"), L10n::t("install"), L10n::t("later")))
        return;
    install([this, showsPanel = settings.showOverlay] {
        auto& main = m_services.main;
        if (showsPanel)
            m_services.overlay.orderFrontRegardless();
        main.stopTimer(m_timer);
        m_timer = main.startTimer(main.now() + deviceAppears, [this] {
            if (m_services.routing.pickVirtualOutput())
                m_services.shell.buildMenu();
        });
    });
}

void DriverOffer::install(std::function<void()> done)
{
    m_services.driver.install(m_lifetime.whileAlive([this, done = std::move(done)](bool installed) {
        m_services.overlay.showStatus(L10n::t(installed ? "driver.done" : "driver.fail"));
        if (installed)
            done();
    }));
}

} // namespace lingrelay
