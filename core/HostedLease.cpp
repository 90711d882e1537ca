#include "core/HostedLease.h"

#include "config/KeyStore.h"

namespace lingrelay {

Task<HostedLease::Taken> HostedLease::take()
{
    if (Secrets::byokActive())
        co_return Hold();
    Hold hold(*this);
    if (!HostedSession::shared().active() || m_opening) {
        beginOpening();
        co_await m_opened.wait();
        if (m_failure)
            co_return *m_failure;
    }
    co_return std::move(hold);
}

Task<std::optional<HostedSession::Failure>> HostedLease::renew()
{
    if (m_holders == 0)
        co_return std::nullopt;
    m_outdated = m_opening;
    beginOpening();
    co_await m_opened.wait();
    co_return m_holders == 0 ? std::nullopt : m_failure;
}

/// In a task of its own: whoever stops waiting for the session must not leave one open at the backend.
void HostedLease::beginOpening()
{
    if (std::exchange(m_opening, true))
        return;
    m_opened.reset();
    m_tasks.spawn(open());
}

Task<void> HostedLease::open()
{
    do {
        m_outdated = false;
        m_failure = co_await HostedSession::shared().start();
    } while (m_outdated);
    m_opening = false;
    if (m_holders == 0)
        HostedSession::shared().end();
    m_opened.set();
}

void HostedLease::release()
{
    if (--m_holders == 0 && !m_opening)
        HostedSession::shared().end();
}

} // namespace lingrelay
