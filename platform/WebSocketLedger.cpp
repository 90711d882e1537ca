#include "platform/WebSocketLedger.h"

#include <algorithm>

namespace lingrelay {

namespace {

/// Received bytes that nobody has asked for yet at which reading pauses.
constexpr std::size_t inboxLimit = 16 << 20;

using State = WebSocket::State;
using Kind = WebSocketLedger::Outgoing::Kind;

Error cancelledError() { return {Error::Kind::cancelled, "The connection was ended."}; }

} // namespace

WebSocketLedger::WebSocketLedger(
    Scheduler& scheduler, WebSocketRequest const& request, std::function<std::size_t()> systemBytes)
    : m_scheduler(scheduler)
    , m_onDropped(request.onDropped)
    , m_systemBytes(std::move(systemBytes))
    , m_maxQueuedBytes(request.maxQueuedBytes)
{
}

void WebSocketLedger::tellSent(WebSocket::Sent sent, std::optional<Error> error)
{
    if (!sent || m_owner.ended())
        return;
    m_scheduler.post(m_owner.whileAlive([sent = std::move(sent), error = std::move(error)] { sent(error); }));
}

void WebSocketLedger::tellReceived(Result<WebSocket::Message> result)
{
    m_scheduler.post(m_owner.whileAlive([received = std::exchange(m_receiver, {}),
                                            result = std::move(result)]() mutable { received(std::move(result)); }));
}

/// Drops waiting sound, the oldest first, until `bytes` more fit; false when they never do.
bool WebSocketLedger::makeRoom(std::size_t bytes)
{
    // What the system can hold at most decides without asking it, most of the time.
    auto const fits = [&](std::size_t system) { return m_queuedBytes + bytes + system <= m_maxQueuedBytes; };
    if (m_maxQueuedBytes == 0 || fits(m_systemLimit))
        return true;
    auto const system = m_systemLimit == 0 ? 0 : m_systemBytes();
    std::size_t dropped = 0;
    for (auto it = m_outbox.begin(); !fits(system) && it != m_outbox.end();) {
        if (it->kind != Kind::binary) {
            ++it;
            continue;
        }
        m_queuedBytes -= it->data.size();
        dropped += it->data.size();
        tellSent(std::move(it->sent), {});
        it = m_outbox.erase(it);
    }
    bool const room = fits(system);
    dropped += room ? 0 : bytes;
    if (dropped > 0 && m_onDropped) {
        m_scheduler.post(m_owner.whileAlive([onDropped = m_onDropped, dropped] { onDropped(dropped); }));
    }
    return room;
}

bool WebSocketLedger::push(Outgoing message)
{
    std::lock_guard const lock(m_mutex);
    if (m_end) {
        tellSent(std::move(message.sent), m_end);
        return false;
    }
    if (message.kind == Kind::ping) {
        // Ahead of what waits, and one is enough.
        if (m_outbox.empty() || m_outbox.front().kind != Kind::ping)
            m_outbox.push_front(std::move(message));
    } else {
        if (message.kind == Kind::binary) {
            if (!makeRoom(message.data.size())) {
                tellSent(std::move(message.sent), {});
                return false;
            }
            m_queuedBytes += message.data.size();
        }
        m_outbox.push_back(std::move(message));
    }
    return m_state == State::open && !std::exchange(m_writing, true);
}

bool WebSocketLedger::receive(WebSocket::Received received)
{
    std::lock_guard const lock(m_mutex);
    assert(!m_receiver);
    m_receiver = std::move(received);
    if (!m_inbox.empty()) {
        m_inboxBytes -= m_inbox.front().data.size();
        tellReceived(std::move(m_inbox.front()));
        m_inbox.pop_front();
        return m_inboxBytes < inboxLimit && std::exchange(m_readerPaused, false);
    }
    if (m_end)
        tellReceived(*m_end);
    return false;
}

WebSocketLedger::Unsent WebSocketLedger::takeUnsent()
{
    m_queuedBytes = 0;
    m_inFlightBytes = 0;
    return {std::exchange(m_outbox, {}), std::exchange(m_inFlight, {})};
}

bool WebSocketLedger::cancel()
{
    Unsent unsent; // destroyed outside the lock: what the callbacks hold may be anything
    std::deque<WebSocket::Message> inbox;
    std::lock_guard const lock(m_mutex);
    if (m_end)
        return false;
    bool const wasOpen = m_state.exchange(State::closed) == State::open;
    m_cancelled = true;
    m_end = cancelledError();
    inbox.swap(m_inbox);
    m_inboxBytes = 0;
    m_receiverTold = static_cast<bool>(m_receiver);
    if (m_receiver)
        tellReceived(*m_end);
    if (!wasOpen) {
        unsent = takeUnsent();
        if (!m_receiverTold) {
            for (auto& message : unsent.waiting)
                tellSent(std::move(message.sent), m_end);
        }
    }
    return wasOpen;
}

void WebSocketLedger::release()
{
    Unsent unsent;
    WebSocket::Received receiver;
    std::function<void(std::size_t)> onDropped;
    std::lock_guard const lock(m_mutex);
    m_owner.end();
    m_state = State::closed;
    receiver.swap(m_receiver);
    onDropped.swap(m_onDropped);
    if (!m_end)
        m_end = cancelledError();
    if (m_cancelled) {
        unsent.inFlight.swap(m_inFlight);
        for (auto& message : m_outbox)
            unsent.waiting.push_back({message.kind, {}, std::exchange(message.sent, {})});
    } else {
        unsent = takeUnsent();
    }
}

bool WebSocketLedger::open(std::size_t systemLimit)
{
    std::lock_guard const lock(m_mutex);
    if (m_end)
        return false;
    m_systemLimit = systemLimit;
    m_state = State::open;
    m_writing = !m_outbox.empty();
    return m_writing;
}

bool WebSocketLedger::next(Outgoing& message)
{
    std::lock_guard const lock(m_mutex);
    if (m_outbox.empty()) {
        m_writing = false;
        return false;
    }
    auto& front = m_outbox.front();
    message.kind = front.kind;
    message.data = std::move(front.data);
    m_inFlight = std::move(front.sent);
    m_inFlightBytes = message.kind == Kind::binary ? message.data.size() : 0;
    m_outbox.pop_front();
    return true;
}

void WebSocketLedger::written()
{
    std::lock_guard const lock(m_mutex);
    m_queuedBytes -= m_inFlightBytes;
    m_inFlightBytes = 0;
    tellSent(std::exchange(m_inFlight, {}), {});
}

bool WebSocketLedger::delivered(WebSocket::Message message)
{
    std::lock_guard const lock(m_mutex);
    if (m_end)
        return true;
    if (m_receiver) {
        tellReceived(std::move(message));
        return true;
    }
    m_inboxBytes += message.data.size();
    m_inbox.push_back(std::move(message));
    m_readerPaused = m_inboxBytes >= inboxLimit;
    return !m_readerPaused;
}

void WebSocketLedger::fail(Error error)
{
    Unsent unsent;
    std::lock_guard const lock(m_mutex);
    if (m_end && !m_cancelled)
        return;
    m_state = State::closed;
    if (!m_end) {
        m_end = std::move(error);
        m_receiverTold = static_cast<bool>(m_receiver);
        if (m_receiver)
            tellReceived(*m_end);
    }
    unsent = takeUnsent();
    if (m_receiverTold)
        return;
    tellSent(std::move(unsent.inFlight), m_end);
    for (auto& message : unsent.waiting)
        tellSent(std::move(message.sent), m_end);
}

bool WebSocketLedger::cancelled() const
{
    std::lock_guard const lock(m_mutex);
    return m_cancelled;
}

} // namespace lingrelay
