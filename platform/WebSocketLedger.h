#pragma once

#include "base/async/Lifetime.h"
#include "platform/WebSocket.h"

#include <atomic>
#include <deque>
#include <mutex>
#include <string>

namespace lingrelay {

/// The part of the WebSocket contract that touches no wire: what waits in either direction, what is dropped, and who is
/// told what. Every implementation keeps one and moves the messages. Any thread.
class WebSocketLedger {
public:
    struct Outgoing {
        enum class Kind : unsigned char { text, binary, ping };
        Kind kind = Kind::text;
        std::string data;
        WebSocket::Sent sent;
    };

    /// `systemBytes` gives the bytes that the operating system holds; it is called under the ledger's lock.
    WebSocketLedger(Scheduler& scheduler, WebSocketRequest const& request, std::function<std::size_t()> systemBytes);

    WebSocket::State state() const { return m_state; }
    std::size_t queuedBytes() const { return m_queuedBytes; }

    // From the owner of the socket. True: nobody writes, so the caller sees to it that somebody does.
    bool push(Outgoing message);
    /// True: the reader had paused and goes on.
    bool receive(WebSocket::Received received);
    /// False when there is no open connection to bring to its end: it failed, or was not made yet and is given up.
    bool cancel();
    /// Nobody is told anything any more, and the scheduler is left alone. After cancel() the rest still goes out.
    void release();

    // From the connection.
    /// The connection stands. `systemLimit` bounds what `systemBytes` can give. True: messages wait to be written.
    bool open(std::size_t systemLimit);
    /// The next message to write, in `data` and `kind`; false when there is none, and the writer rests.
    bool next(Outgoing& message);
    /// The message taken last has been handed to the operating system.
    void written();
    /// False: so much waits to be asked for that reading pauses.
    bool delivered(WebSocket::Message message);
    /// The connection is gone; only the first reason counts.
    void fail(Error error);
    bool cancelled() const;

private:
    void tellSent(WebSocket::Sent sent, std::optional<Error> error);
    void tellReceived(Result<WebSocket::Message> result);
    bool makeRoom(std::size_t bytes);

    struct Unsent {
        std::deque<Outgoing> waiting;
        WebSocket::Sent inFlight;
    };
    Unsent takeUnsent();

    mutable std::mutex m_mutex;
    Scheduler& m_scheduler;
    std::function<void(std::size_t)> m_onDropped;
    std::function<std::size_t()> m_systemBytes;
    std::size_t const m_maxQueuedBytes;
    std::size_t m_systemLimit = 0;

    std::atomic<WebSocket::State> m_state = WebSocket::State::connecting;
    std::atomic<std::size_t> m_queuedBytes = 0; ///< waiting and in flight
    Lifetime m_owner; ///< ends when the socket is let go
    std::optional<Error> m_end;
    bool m_cancelled = false;
    bool m_receiverTold = false; ///< of the end

    std::deque<Outgoing> m_outbox;
    bool m_writing = false;
    WebSocket::Sent m_inFlight;
    std::size_t m_inFlightBytes = 0;

    std::deque<WebSocket::Message> m_inbox;
    std::size_t m_inboxBytes = 0;
    bool m_readerPaused = false;
    WebSocket::Received m_receiver;
};

} // namespace lingrelay
