#include "app/Provider.h"

#include "base/Log.h"
#include "config/KeyStore.h"

namespace lingrelay {

Provider::Provider(Scheduler& main, Assembly& assembly, std::shared_ptr<Secrecy> secrecy)
    : m_main(main)
    , m_assembly(assembly)
    , m_secrecy(std::move(secrecy))
    , m_plan(HostPlan::make({}))
    , m_service(main)
{
    m_secrecy->add(Secrets::key());
    m_service.onEnded = [this] {
        if (m_left)
            return;
        Log::write("[service] it has ended; another one is started");
        startService();
    };
}

void Provider::start()
{
    if (m_plan.localService)
        startService();
    else
        m_main.post([this] { connect(LocalService::Address{}); });
}

void Provider::startService()
{
    m_serviceStarted = true;
    m_service.start([this](Result<LocalService::Address> const& address) {
        m_serviceStarted = bool(address);
        connect(address);
        if (address && !m_left)
            onServiceStarted();
    });
}

void Provider::connect(Result<LocalService::Address> const& address)
{
    if (m_left)
        return;
    if (address)
        m_local = *address;
    m_complaint = address ? m_plan.problem() : address.error().message;
    m_assembly.connect(m_plan.hostsWith(m_local.hosts), m_local.token);
    onConnected();
}

void Provider::adoptKey()
{
    m_plan = HostPlan::make({});
    m_secrecy->add(Secrets::key());
    if (m_plan.localService && !m_serviceStarted)
        return startService();
    connect(m_local);
}

void Provider::tell()
{
    auto& model = AppModel::shared();
    if (!m_complaint.empty()) {
        model.status = m_complaint;
        model.statusKind = AppModel::StatusKind::error;
    } else if (!m_shown.empty() && *model.status == m_shown) {
        model.status = "";
        model.statusKind = AppModel::StatusKind::idle;
    }
    m_shown = m_complaint;
}

} // namespace lingrelay
