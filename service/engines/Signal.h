#pragma once

#include "base/Time.h"

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

namespace lingrelay::service {

namespace asio = boost::asio;

/// Operations that give (error, value) instead of throwing.
inline constexpr auto quietly = asio::as_tuple(asio::use_awaitable);

/// "Something changed": coroutines of one executor look at the state, wait, and look again.
class Signal {
public:
    explicit Signal(asio::any_io_executor const& executor) : m_timer(executor, Instant::max()) { }

    void notify() { m_timer.cancel(); }

    /// Until the next notify, or the deadline. Waiters with different deadlines need a Signal each.
    asio::awaitable<void> wait(Instant deadline = Instant::max())
    {
        // Setting the time ends the waits of others, who would do the same to this one.
        if (m_timer.expiry() != deadline)
            m_timer.expires_at(deadline);
        co_await m_timer.async_wait(quietly);
    }

private:
    asio::steady_timer m_timer;
};

/// A pause of the current coroutine.
inline asio::awaitable<void> pause(asio::any_io_executor executor, Duration duration)
{
    asio::steady_timer timer(executor, duration);
    co_await timer.async_wait(quietly);
}

} // namespace lingrelay::service
