#pragma once

#include "base/Json.h"
#include "service/engines/Signal.h"

#include <deque>
#include <memory>
#include <optional>
#include <string>

#include <boost/beast/core/tcp_stream.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>

namespace lingrelay::service {

namespace beast = boost::beast;
namespace http = beast::http;

using HttpRequest = http::request<http::string_body>;
using HttpResponse = http::response<http::string_body>;

/// One client's WebSocket on the service's side. Its executor only; shared by its reader, its writer and a
/// conversation.
///
/// Frames that arrive wait in a bounded inbox: when it is full the socket is not read, and the client feels it.
class Peer : public std::enable_shared_from_this<Peer> {
public:
    struct Frame {
        bool binary = false;
        std::string data;
    };

    Peer(beast::tcp_stream stream, HttpRequest request);

    /// Answers the upgrade and starts reading and writing; false when the client is gone.
    asio::awaitable<bool> accept();

    /// The request that asked for the upgrade.
    HttpRequest const& request() const { return m_request; }
    /// What follows "Bearer " in the Authorization header; nothing without one.
    std::optional<std::string> bearer() const;

    /// The next frame, if one has arrived.
    std::optional<Frame> take();
    bool closed() const { return m_closed; }
    /// Waits for a frame, the end, or `wake`. One waiter at a time.
    asio::awaitable<void> changed(Instant deadline = Instant::max()) { return m_changed.wait(deadline); }
    void wake() { m_changed.notify(); }
    /// Stops taking frames off the wire, or goes on.
    void holdReading(bool hold);

    /// Queues a text frame. A client that lets megabytes pile up is dropped.
    void send(std::string text);
    void send(Json const& message) { send(jsonText(message)); }
    void sendBinary(std::string bytes);
    /// Waits until little is queued, or the client is gone.
    asio::awaitable<void> room();
    /// Closes after what is queued.
    void close(std::uint16_t code = 1000, std::string reason = {});
    /// Cuts the connection: at once, with no close frame.
    void drop();

    asio::any_io_executor executor() { return m_socket.get_executor(); }

private:
    struct Closing {
        std::uint16_t code;
        std::string reason;
    };

    asio::awaitable<void> readAll();
    asio::awaitable<void> writeAll();
    asio::awaitable<void> giveUpAfterClose();
    void queue(Frame frame);
    void end();

    beast::websocket::stream<beast::tcp_stream> m_socket;
    HttpRequest m_request;
    std::deque<Frame> m_inbox;
    std::size_t m_inboxBytes = 0;
    std::deque<Frame> m_outbox;
    std::size_t m_outboxBytes = 0;
    std::optional<Closing> m_closing;
    bool m_held = false;
    bool m_closed = false;
    Signal m_changed;
    Signal m_taken; ///< for the reader
    Signal m_queued; ///< for the writer
    Signal m_written; ///< for those who wait for room
    asio::steady_timer m_patience; ///< with a client that does not take the end
};

} // namespace lingrelay::service
