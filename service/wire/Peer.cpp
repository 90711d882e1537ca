#include "service/wire/Peer.h"

#include "base/Text.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/beast/core/buffers_to_string.hpp>

namespace lingrelay::service {

namespace {

constexpr std::size_t messageLimit = 1 << 20;
constexpr std::size_t inboxLimit = 128 << 10;
constexpr std::size_t frameCost = 64; ///< what an empty frame counts, so that a flood of them is bounded too
constexpr std::size_t outboxRoom = 64 << 10;
constexpr std::size_t outboxLimit = 8 << 20;
constexpr auto closeTime = seconds(5.0); ///< for the client to take what is queued and answer the close

} // namespace

Peer::Peer(beast::tcp_stream stream, HttpRequest request)
    : m_socket(std::move(stream))
    , m_request(std::move(request))
    , m_changed(m_socket.get_executor())
    , m_taken(m_socket.get_executor())
    , m_queued(m_socket.get_executor())
    , m_written(m_socket.get_executor())
    , m_patience(m_socket.get_executor())
{
}

asio::awaitable<bool> Peer::accept()
{
    auto const self = shared_from_this();
    beast::get_lowest_layer(m_socket).expires_never();
    auto timeouts = beast::websocket::stream_base::timeout::suggested(beast::role_type::server);
    timeouts.handshake_timeout = std::chrono::seconds(10);
    timeouts.idle_timeout = beast::websocket::stream_base::none();
    timeouts.keep_alive_pings = false;
    m_socket.set_option(timeouts);
    m_socket.read_message_max(messageLimit);
    m_socket.auto_fragment(false); // a message is one frame, as simple clients expect
    auto const [error] = co_await m_socket.async_accept(m_request, quietly);
    if (error)
        co_return false;
    asio::co_spawn(executor(), readAll(), [self](std::exception_ptr) {});
    asio::co_spawn(executor(), writeAll(), [self](std::exception_ptr) {});
    co_return true;
}

std::optional<std::string> Peer::bearer() const
{
    auto const found = m_request.find(http::field::authorization);
    if (found == m_request.end())
        return {};
    std::string_view value(found->value().data(), found->value().size());
    constexpr std::string_view scheme = "Bearer ";
    if (value.size() >= scheme.size() && beast::iequals(value.substr(0, scheme.size()), scheme))
        value.remove_prefix(scheme.size());
    return std::string(trimBlanks(value));
}

std::optional<Peer::Frame> Peer::take()
{
    if (m_inbox.empty())
        return {};
    auto frame = std::move(m_inbox.front());
    m_inbox.pop_front();
    m_inboxBytes -= frame.data.size() + frameCost;
    m_taken.notify();
    return frame;
}

void Peer::holdReading(bool hold)
{
    m_held = hold;
    m_taken.notify();
}

asio::awaitable<void> Peer::readAll()
{
    while (!m_closed) {
        beast::flat_buffer buffer;
        auto const [error, size] = co_await m_socket.async_read(buffer, quietly);
        if (error)
            break;
        m_inbox.push_back({m_socket.got_binary(), beast::buffers_to_string(buffer.cdata())});
        m_inboxBytes += size + frameCost;
        m_changed.notify();
        while ((m_inboxBytes > inboxLimit || m_held) && !m_closed && !m_closing)
            co_await m_taken.wait();
        if (m_closing)
            m_inbox.clear(), m_inboxBytes = 0;
    }
    end();
}

void Peer::send(std::string text) { queue({false, std::move(text)}); }
void Peer::sendBinary(std::string bytes) { queue({true, std::move(bytes)}); }

void Peer::queue(Frame frame)
{
    if (m_closed || m_closing)
        return;
    m_outboxBytes += frame.data.size();
    m_outbox.push_back(std::move(frame));
    if (m_outboxBytes > outboxLimit)
        return drop();
    m_queued.notify();
}

asio::awaitable<void> Peer::room()
{
    while (m_outboxBytes > outboxRoom && !m_closed)
        co_await m_written.wait();
}

asio::awaitable<void> Peer::writeAll()
{
    while (!m_closed) {
        if (m_outbox.empty() && !m_closing) {
            co_await m_queued.wait();
            continue;
        }
        if (m_outbox.empty()) {
            beast::websocket::close_reason reason(m_closing->code);
            reason.reason.assign(m_closing->reason.data(), std::min<std::size_t>(m_closing->reason.size(), 120));
            co_await m_socket.async_close(reason, quietly);
            break;
        }
        auto frame = std::move(m_outbox.front());
        m_outbox.pop_front();
        // Scripted faults send text that is not UTF-8; the frame keeps its kind all the same.
        m_socket.binary(frame.binary);
        auto const [error, size] = co_await m_socket.async_write(asio::buffer(frame.data), quietly);
        m_outboxBytes -= frame.data.size();
        m_written.notify();
        if (error)
            break;
    }
    end();
}

void Peer::close(std::uint16_t code, std::string reason)
{
    if (m_closing || m_closed)
        return;
    m_closing = Closing{code, std::move(reason)};
    m_queued.notify();
    m_taken.notify();
    m_changed.notify();
    auto const self = shared_from_this();
    asio::co_spawn(executor(), giveUpAfterClose(), [self](std::exception_ptr) {});
}

asio::awaitable<void> Peer::giveUpAfterClose()
{
    m_patience.expires_after(closeTime);
    co_await m_patience.async_wait(quietly);
    if (!m_closed)
        drop();
}

void Peer::drop()
{
    if (!m_closed) {
        // A zero linger makes the kernel reset the connection instead of closing it in order.
        boost::system::error_code ignored;
        beast::get_lowest_layer(m_socket).socket().set_option(asio::socket_base::linger(true, 0), ignored);
    }
    end();
}

void Peer::end()
{
    m_closed = true;
    boost::system::error_code ignored;
    beast::get_lowest_layer(m_socket).socket().close(ignored);
    for (auto* signal : {&m_changed, &m_taken, &m_queued, &m_written})
        signal->notify();
    m_patience.cancel();
}

} // namespace lingrelay::service
