#pragma once

#include "base/async/Task.h"
#include "speech/HostedSession.h"

#include <optional>
#include <utility>
#include <variant>

namespace lingrelay {

/// The hosted session as something that several hold: a running session and each sentence that is spoken beside it.
/// The first holder opens it at the backend, the last one ends it; nobody else starts or ends it: a sentence that is
/// still spoken when the session stops keeps its keys until it is over. With a key of the user's own nothing is opened.
///
/// Main. The shared HostedSession outlives it, and it outlives its holds. Before it dies: `shutdown`, then wait until
/// it is `idle`.
class HostedLease {
public:
    /// One holder's share; a default one holds nothing. It ends with the object.
    class Hold {
    public:
        Hold() = default;
        Hold(Hold&& other) noexcept : m_lease(std::exchange(other.m_lease, nullptr)) { }
        Hold& operator=(Hold&& other) noexcept
        {
            std::swap(m_lease, other.m_lease);
            return *this;
        }
        ~Hold()
        {
            if (m_lease)
                m_lease->release();
        }

    private:
        friend class HostedLease;
        explicit Hold(HostedLease& lease) : m_lease(&lease) { ++lease.m_holders; }
        HostedLease* m_lease = nullptr;
    };
    using Taken = std::variant<Hold, HostedSession::Failure>;

    explicit HostedLease(Scheduler& main) : m_tasks(main) { }

    /// Gives a hold once the provider's keys are there. Those who ask while it is being opened get the same answer.
    Task<Taken> take();

    /// Another backend has taken the place of the one that knew the session: whoever holds it gets a new one. Nothing
    /// on success, and when nobody holds it any more.
    Task<std::optional<HostedSession::Failure>> renew();

    /// Cancels an opening that is under way; what the backend has opened by then stays with it until it gives up.
    void shutdown() { m_tasks.cancel(); }
    bool idle() const { return m_tasks.running() == 0; }

private:
    Task<void> open();
    void beginOpening();
    void release();

    int m_holders = 0;
    bool m_opening = false;
    bool m_outdated = false; ///< the backend changed while the session was being opened
    Event m_opened; ///< the last opening has ended
    std::optional<HostedSession::Failure> m_failure; ///< of the last opening
    TaskGroup m_tasks;
};

} // namespace lingrelay
