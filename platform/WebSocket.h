#pragma once

#include "base/Result.h"
#include "base/async/Scheduler.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace lingrelay {

/// One WebSocket connection as a client. All members may be called from any thread.
///
/// Completions are posted to the scheduler given at the connect, never run inside a call, and are called exactly once
/// each, with two exceptions: none comes after the last reference to the socket is gone, which lets go of the
/// connection without a close frame; and a connection that dies is told once: to the pending receive when there is
/// one, and then the sends that were not yet written are dropped without a word; to those sends otherwise.
class WebSocket {
public:
    enum class State {
        connecting, ///< sends are taken and wait for the connection
        open,
        closed, ///< failed, closed by the other side, or cancelled
    };
    struct Message {
        bool binary = false;
        std::string data;
    };
    /// Nothing on success.
    using Sent = std::function<void(std::optional<Error>)>;
    using Received = std::function<void(Result<Message>)>;

    virtual ~WebSocket() = default;

    virtual State state() const = 0;

    /// A message is sent whole, in the order of the calls. `sent` may be empty.
    virtual void sendText(std::string text, Sent sent) = 0;
    virtual void sendBinary(std::string data, Sent sent) = 0;

    /// Asks for the next message; one receive may be pending. Messages that came earlier are kept until asked for.
    /// A close by the other side is an error of kind networkConnectionLost.
    virtual void receive(Received received) = 0;

    /// Sends a ping. Its pong is not reported.
    virtual void ping() = 0;

    /// Ends the connection: what was queued before goes out if the other side takes it within a second, then a close
    /// frame with `code` and no reason; this goes on when the socket is let go. One that still connects is given up at
    /// once. A pending receive ends with an error of kind cancelled.
    virtual void cancel(int code) = 0;

    /// Bytes of binary messages that have not been handed to the operating system.
    virtual std::size_t queuedBytes() const = 0;
};

struct WebSocketRequest {
    std::string url; ///< ws or wss
    std::string bearer; ///< for `Authorization: Bearer`; none when empty
    Duration connectTimeout = std::chrono::seconds(60); ///< until the upgrade is answered
    Duration idleTimeout{}; ///< longest time without a frame from the other side, pongs included; zero: no limit
    Duration lifetime{}; ///< longest life of the connection; zero: no limit
    /// Most bytes of binary messages that wait, the operating system's send buffer included. The oldest waiting
    /// message goes first, and `onDropped` is told its bytes (on the scheduler); its `sent` is called without an error.
    /// Text is never dropped. Zero: no limit.
    std::size_t maxQueuedBytes = 0;
    std::function<void(std::size_t bytes)> onDropped;
};

} // namespace lingrelay
