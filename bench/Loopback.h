#pragma once

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/websocket.hpp>

#include <memory>
#include <string>

namespace lingrelay::bench {

/// A connection as plain as the library has it: no threads, queues or parsing of ours. Blocking calls, one thread.
using Peer = boost::beast::websocket::stream<boost::asio::ip::tcp::socket>;

/// Accepts WebSocket connections on a loopback port of the system's choice. One thread.
class Loopback {
public:
    Loopback();

    std::string url() const;
    /// Waits for the next connection and answers its upgrade.
    std::unique_ptr<Peer> accept();
    /// A client of this server, upgraded while `accept` runs on another thread.
    std::unique_ptr<Peer> connect(boost::asio::io_context& context) const;

private:
    boost::asio::io_context m_context;
    boost::asio::ip::tcp::acceptor m_acceptor;
};

/// The next message, whole; empty when the connection has ended.
std::string readMessage(Peer& peer);
/// False when the connection has ended.
bool writeText(Peer& peer, std::string const& text);

} // namespace lingrelay::bench
