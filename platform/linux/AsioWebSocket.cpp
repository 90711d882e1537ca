#include "platform/WebSocketLedger.h"
#include "platform/linux/NetworkParts.h"

#include <algorithm>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/buffer.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <fmt/format.h>
#include <linux/sockios.h>
#include <sys/ioctl.h>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace websocket = boost::beast::websocket;
using boost::system::error_code;

namespace lingrelay {

namespace {

constexpr auto token = asio::as_tuple(asio::use_awaitable);

constexpr std::size_t largestMessage = 16 << 20;
/// Longer messages are written in pieces of this size.
constexpr std::size_t pieceSize = 8 << 10;
/// After cancel(): for what was queued, and again for the answer to the close frame.
constexpr auto goodbyeLimit = std::chrono::seconds(1);

using Kind = WebSocketLedger::Outgoing::Kind;

Error upgradeError(error_code code, websocket::response_type const& response)
{
    int const status = static_cast<int>(response.result_int());
    if (code == websocket::error::upgrade_declined)
        return {Error::Kind::badServerResponse, fmt::format("The server refused the connection (HTTP {}).", status),
            status};
    if (code.category() == make_error_code(websocket::error::closed).category()
        || code.category() == make_error_code(beast::http::error::bad_version).category())
        return {Error::Kind::badServerResponse, "The server's answer was not understood."};
    return connectionError(code);
}

Error messageError(error_code code, websocket::close_reason const& reason)
{
    if (code == websocket::error::closed && reason.code != websocket::close_code::none)
        return {Error::Kind::networkConnectionLost,
            fmt::format("The server closed the connection (code {}).", reason.code), reason.code};
    if (code == websocket::error::closed)
        return {Error::Kind::networkConnectionLost, "The server closed the connection."};
    if (code == websocket::error::message_too_big || code == websocket::error::buffer_overflow)
        return {Error::Kind::badServerResponse, "The server sent a message that is too large."};
    if (code.category() == make_error_code(websocket::error::closed).category())
        return {Error::Kind::badServerResponse, "The server sent something that is not a message."};
    return connectionError(code);
}

Error timeoutError() { return {Error::Kind::timedOut, "The server did not answer in time."}; }

/// The wire of one socket; everything but the constructor, post(), systemBytes() and the ledger is used on its thread.
/// Alive as long as the handle or an operation holds it.
class Connection {
public:
    Connection(std::shared_ptr<NetworkParts> parts, WebSocketRequest const& request, Scheduler& scheduler)
        : m_parts(std::move(parts))
        , m_ledger(scheduler, request, [this] { return systemBytes(); })
    {
    }
    virtual ~Connection() = default;

    virtual void start() = 0;
    virtual void write() = 0;
    virtual void read() = 0;
    virtual void beginGoodbye(int code) = 0;
    virtual void abandon() = 0;

    WebSocketLedger& ledger() { return m_ledger; }
    void post(Scheduler::Job job) { m_parts->scheduler->post(std::move(job)); }
    NetworkParts::Goodbye goodbye() const { return NetworkParts::Goodbye(m_parts); }

protected:
    void setDescriptor(int descriptor)
    {
        std::lock_guard const lock(m_descriptorMutex);
        m_descriptor = descriptor;
    }

    std::shared_ptr<NetworkParts> const m_parts;

private:
    std::size_t systemBytes()
    {
        std::lock_guard const lock(m_descriptorMutex);
        int bytes = 0;
        if (m_descriptor < 0 || ::ioctl(m_descriptor, SIOCOUTQ, &bytes) != 0)
            return 0;
        return static_cast<std::size_t>(std::max(bytes, 0));
    }

    std::mutex m_descriptorMutex;
    int m_descriptor = -1;
    WebSocketLedger m_ledger;
};

/// What a caller holds.
class AsioWebSocket final : public WebSocket {
public:
    explicit AsioWebSocket(std::shared_ptr<Connection> connection) : m_connection(std::move(connection)) { }
    ~AsioWebSocket() override
    {
        ledger().release();
        if (!m_cancelled)
            m_connection->post([connection = m_connection] { connection->abandon(); });
    }

    State state() const override { return ledger().state(); }
    void sendText(std::string text, Sent sent) override { push({Kind::text, std::move(text), std::move(sent)}); }
    void sendBinary(std::string data, Sent sent) override { push({Kind::binary, std::move(data), std::move(sent)}); }
    void ping() override { push({Kind::ping, {}, {}}); }
    std::size_t queuedBytes() const override { return ledger().queuedBytes(); }

    void receive(Received received) override
    {
        if (ledger().receive(std::move(received)))
            m_connection->post([connection = m_connection] { connection->read(); });
    }

    void cancel(int code) override
    {
        m_cancelled = true;
        if (ledger().cancel()) {
            m_connection->post([connection = m_connection, code,
                                   goodbye = std::make_shared<NetworkParts::Goodbye>(m_connection->goodbye())] {
                connection->beginGoodbye(code);
            });
        } else {
            m_connection->post([connection = m_connection] { connection->abandon(); });
        }
    }

private:
    WebSocketLedger& ledger() const { return m_connection->ledger(); }
    void push(WebSocketLedger::Outgoing message)
    {
        if (ledger().push(std::move(message)))
            m_connection->post([connection = m_connection] { connection->write(); });
    }

    std::shared_ptr<Connection> const m_connection;
    std::atomic<bool> m_cancelled = false;
};

template <class Transport>
class ConnectionOver final : public Connection, public std::enable_shared_from_this<ConnectionOver<Transport>> {
public:
    static constexpr bool encrypted = std::is_same_v<Transport, TlsSocket>;

    template <class... Context>
    ConnectionOver(std::shared_ptr<NetworkParts> parts, WebSocketRequest const& request, Url const& url,
        Scheduler& scheduler, Context&... tls)
        : Connection(std::move(parts), request, scheduler)
        , m_url(url)
        , m_idleTimeout(request.idleTimeout)
        , m_maxQueuedBytes(request.maxQueuedBytes)
        , m_stream(m_parts->context.get_executor(), tls...)
        , m_dial(beast::get_lowest_layer(m_stream), m_url, m_parts->proxies)
        , m_alarm(m_parts->context)
        , m_lifeEnd(request.lifetime > Duration() ? Clock::now() + request.lifetime : Instant::max())
        , m_limit(std::min(Clock::now() + request.connectTimeout, m_lifeEnd))
    {
        m_stream.set_option(
            websocket::stream_base::decorator([bearer = request.bearer](websocket::request_type& upgrade) {
                if (!bearer.empty())
                    upgrade.set(beast::http::field::authorization, "Bearer " + bearer);
            }));
        m_stream.read_message_max(largestMessage);
        m_stream.auto_fragment(false);
        m_stream.write_buffer_bytes(pieceSize);
    }

    void start() override { asio::co_spawn(m_parts->context, run(this->shared_from_this()), asio::detached); }

    void abandon() override { end(timeoutError()); }

    void write() override
    {
        if (m_writing || m_dead)
            return;
        if (!ledger().next(m_outgoing)) {
            if (m_goodbyeCode)
                sendClose();
            return;
        }
        m_writing = true;
        auto const written = [self = this->shared_from_this()](error_code code, std::size_t = 0) {
            self->m_writing = false;
            if (code)
                return self->end(messageError(code, self->m_stream.reason()));
            self->ledger().written();
            self->write();
        };
        if (m_outgoing.kind == Kind::ping) {
            m_stream.async_ping({}, written);
        } else {
            m_stream.binary(m_outgoing.kind == Kind::binary);
            m_stream.async_write(asio::buffer(m_outgoing.data), written);
        }
    }

    void read() override
    {
        if (m_dead)
            return;
        if (std::exchange(m_readerPaused, false))
            heard();
        if (!m_incoming)
            m_incoming.emplace(m_message);
        m_stream.async_read_some(
            *m_incoming, 0, [self = this->shared_from_this()](error_code code, std::size_t) { self->readSome(code); });
    }

    void beginGoodbye(int code) override
    {
        if (m_dead)
            return;
        m_goodbye.emplace(this->goodbye());
        m_goodbyeCode = static_cast<std::uint16_t>(code);
        m_limit = Clock::now() + goodbyeLimit;
        watch();
        write();
    }

private:
    asio::awaitable<void> run([[maybe_unused]] std::shared_ptr<ConnectionOver> self)
    {
        watch();
        auto failed = co_await establish();
        if (failed)
            end(std::move(*failed));
        else if (!m_dead)
            established();
    }

    asio::awaitable<std::optional<Error>> establish()
    {
        auto failed = co_await m_dial.run();
        if (failed || m_dead)
            co_return failed;
        tune();
        if constexpr (encrypted) {
            failed = co_await secure(m_stream.next_layer(), m_url);
            if (failed || m_dead)
                co_return failed;
        }
        websocket::response_type response;
        // Named: GCC 12 destroys a conditional temporary of a co_await expression that it never made.
        auto const authority = m_url.authority();
        auto const target = m_url.target.empty() ? std::string("/") : m_url.target;
        auto const [code] = co_await m_stream.async_handshake(response, authority, target, token);
        if (code)
            co_return upgradeError(code, response);
        co_return std::nullopt;
    }

    /// Sound waits in our own queue, where old sound can be dropped, and as little as possible in the system's.
    void tune()
    {
        auto& socket = beast::get_lowest_layer(m_stream);
        error_code ignored;
        socket.set_option(asio::ip::tcp::no_delay(true), ignored);
        if (m_maxQueuedBytes == 0)
            return;
        asio::socket_base::send_buffer_size size(
            static_cast<int>(std::min<std::size_t>(m_maxQueuedBytes / 4, 1 << 20)));
        socket.set_option(size, ignored);
        socket.get_option(size, ignored); // the system doubles it, and takes one more piece whole
        m_systemLimit = static_cast<std::size_t>(size.value()) + 2 * pieceSize;
        setDescriptor(socket.native_handle());
    }

    void established()
    {
        m_stream.control_callback([this](websocket::frame_type, beast::string_view) { heard(); });
        m_limit = m_lifeEnd;
        heard();
        watch();
        if (ledger().open(m_systemLimit))
            write();
        read();
    }

    void heard() { m_lastHeard = Clock::now(); }

    void readSome(error_code code)
    {
        if (code)
            return end(messageError(code, m_stream.reason()));
        heard();
        if (m_stream.is_message_done()) {
            m_incoming.reset();
            m_readerPaused = !ledger().delivered({m_stream.got_binary(), std::exchange(m_message, {})});
        }
        if (!m_readerPaused)
            read();
    }

    void sendClose()
    {
        m_limit = Clock::now() + goodbyeLimit;
        watch();
        m_stream.async_close(websocket::close_reason(*std::exchange(m_goodbyeCode, {})),
            [self = this->shared_from_this()](error_code) { self->end(timeoutError()); });
    }

    Instant idleEnd() const
    {
        bool const counts = m_idleTimeout > Duration() && m_lastHeard != Instant() && !m_readerPaused;
        return counts ? m_lastHeard + m_idleTimeout : Instant::max();
    }

    /// Sets the alarm to the next instant at which there may be something to end. It is not moved at every message.
    void watch()
    {
        auto when = std::min(m_limit, idleEnd());
        if (m_readerPaused && m_idleTimeout > Duration())
            when = std::min(when, Clock::now() + m_idleTimeout);
        if (m_dead || when == Instant::max())
            return;
        m_alarm.expires_at(when);
        m_alarm.async_wait([weak = this->weak_from_this()](error_code code) {
            auto const self = code ? nullptr : weak.lock();
            if (!self)
                return;
            if (Clock::now() >= std::min(self->m_limit, self->idleEnd()))
                self->end(timeoutError());
            else
                self->watch();
        });
    }

    void end(Error error)
    {
        if (std::exchange(m_dead, true))
            return;
        ledger().fail(std::move(error));
        m_alarm.cancel();
        m_goodbye.reset();
        setDescriptor(-1);
        m_dial.abort();
    }

    Url const m_url;
    Duration const m_idleTimeout;
    std::size_t const m_maxQueuedBytes;
    websocket::stream<Transport, false> m_stream; ///< no compression
    Dial m_dial;
    asio::steady_timer m_alarm;
    Instant const m_lifeEnd;
    Instant m_limit; ///< of the present stage: the connecting, the life, the goodbye
    Instant m_lastHeard{};
    std::size_t m_systemLimit = 0;
    bool m_dead = false;

    WebSocketLedger::Outgoing m_outgoing;
    bool m_writing = false;
    std::optional<std::uint16_t> m_goodbyeCode;
    std::optional<NetworkParts::Goodbye> m_goodbye;

    std::string m_message;
    std::optional<asio::dynamic_string_buffer<char, std::char_traits<char>, std::allocator<char>>> m_incoming;
    bool m_readerPaused = false;
};

} // namespace

std::shared_ptr<WebSocket> connectWebSocket(
    std::shared_ptr<NetworkParts> parts, WebSocketRequest request, Url const& url, Scheduler& scheduler)
{
    std::shared_ptr<Connection> connection;
    if (url.secure()) {
        auto& tls = parts->tls.context();
        connection = std::make_shared<ConnectionOver<TlsSocket>>(std::move(parts), request, url, scheduler, tls);
    } else {
        connection = std::make_shared<ConnectionOver<TcpSocket>>(std::move(parts), request, url, scheduler);
    }
    connection->start();
    return std::make_shared<AsioWebSocket>(std::move(connection));
}

} // namespace lingrelay
