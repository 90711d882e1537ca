#pragma once

#include "base/Result.h"
#include "base/Url.h"
#include "platform/linux/Proxy.h"

#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/basic_stream_socket.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>

namespace lingrelay {

using TcpSocket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, boost::asio::io_context::executor_type>;
using TlsSocket = boost::asio::ssl::stream<TcpSocket>;

/// Certificates of this machine, or of SSL_CERT_FILE, read when the first encrypted connection is made.
class TlsSettings {
public:
    boost::asio::ssl::context& context();

private:
    std::once_flag m_once;
    std::optional<boost::asio::ssl::context> m_context;
};

/// Makes the TCP connection to a server, through a tunnel where a proxy is set. Used on the socket's thread; lives
/// until run() has ended.
///
/// "localhost" is 127.0.0.1 and ::1 without asking anybody, so that plain connections cannot be led off this machine.
class Dial {
public:
    Dial(TcpSocket& socket, Url const& url, ProxySettings const& proxies);

    /// Nothing on success.
    boost::asio::awaitable<std::optional<Error>> run();
    /// Closes the socket and makes run() end at once.
    void abort();

private:
    using Endpoints = std::vector<boost::asio::ip::tcp::endpoint>;

    boost::asio::awaitable<Result<Endpoints>> lookUp(std::string host, std::uint16_t port);
    boost::asio::awaitable<std::optional<Error>> connect(Endpoints endpoints);
    boost::asio::awaitable<std::optional<Error>> tunnel(std::string credentials);

    TcpSocket& m_socket;
    Url m_url;
    ProxySettings const& m_proxies;
    boost::asio::steady_timer m_wake;
    bool m_aborted = false;
};

/// Begins TLS: certificate and host name are verified, the name is sent along. Nothing on success.
boost::asio::awaitable<std::optional<Error>> secure(TlsSocket& socket, Url const& url);

/// For a failure of the system or of TLS on a connection that stood.
Error connectionError(boost::system::error_code code);

} // namespace lingrelay
