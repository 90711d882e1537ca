#include "platform/linux/Dial.h"

#include "base/Base64.h"

#include <chrono>
#include <cstring>
#include <memory>
#include <thread>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http.hpp>
#include <fmt/format.h>
#include <netdb.h>
#include <openssl/x509v3.h>

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

namespace lingrelay {

namespace {

constexpr auto token = asio::as_tuple(asio::use_awaitable);

/// How long one of several addresses of a server may take to answer.
constexpr auto attemptLimit = std::chrono::seconds(4);

Error cancelledError() { return {Error::Kind::cancelled, "The connection was ended."}; }

Error connectError(error_code code)
{
    if (code == asio::error::network_unreachable || code == asio::error::network_down)
        return {Error::Kind::notConnectedToInternet, "There is no network connection."};
    if (code == asio::error::no_descriptors || code == asio::error::no_buffer_space || code == asio::error::no_memory)
        return {Error::Kind::resourceUnavailable, "This computer has no more connections to give."};
    return {Error::Kind::cannotConnectToHost, "Could not connect to the server."};
}

Error lookUpError(int code, std::string const& host)
{
    if (code == EAI_NONAME || code == EAI_NODATA || code == EAI_ADDRFAMILY)
        return {Error::Kind::cannotFindHost, fmt::format("The server {} could not be found.", host)};
    return {Error::Kind::dnsLookupFailed, fmt::format("The name of the server {} could not be looked up.", host)};
}

/// A question to the system's resolver, which cannot be interrupted: a thread of its own asks, and nobody need wait.
struct LookUp {
    std::mutex mutex;
    asio::steady_timer* waiting = nullptr; ///< null: given up
    bool done = false;
    int error = 0;
    std::vector<tcp::endpoint> found;

    void ask(std::string const& host, std::uint16_t port)
    {
        addrinfo hints{};
        hints.ai_family = AF_UNSPEC;
        hints.ai_socktype = SOCK_STREAM;
        hints.ai_flags = AI_ADDRCONFIG;
        addrinfo* list = nullptr;
        int const result = getaddrinfo(host.c_str(), nullptr, &hints, &list);
        std::vector<tcp::endpoint> endpoints;
        for (auto const* entry = list; entry; entry = entry->ai_next) {
            tcp::endpoint endpoint;
            if (entry->ai_addrlen > endpoint.capacity())
                continue;
            std::memcpy(endpoint.data(), entry->ai_addr, entry->ai_addrlen);
            endpoint.resize(entry->ai_addrlen);
            endpoint.port(port);
            endpoints.push_back(endpoint);
        }
        if (list)
            freeaddrinfo(list);
        std::lock_guard const lock(mutex);
        done = true;
        error = result == 0 && endpoints.empty() ? EAI_NONAME : result;
        found = std::move(endpoints);
    }
};

void wake(std::shared_ptr<LookUp> const& question)
{
    std::lock_guard const lock(question->mutex);
    if (!question->waiting)
        return;
    asio::post(question->waiting->get_executor(), [question] {
        std::lock_guard const stillWaiting(question->mutex);
        if (question->waiting)
            question->waiting->cancel();
    });
}

/// Gives a question up at the end of the waiting task, however it ends.
struct GiveUp {
    std::shared_ptr<LookUp> question;
    ~GiveUp()
    {
        std::lock_guard const lock(question->mutex);
        question->waiting = nullptr;
    }
};

Error certificateError(long result, std::string const& host)
{
    auto const problem = [&]() -> std::string {
        switch (result) {
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return fmt::format("it is not for {}", host);
        case X509_V_ERR_CERT_HAS_EXPIRED:
            return "it has expired";
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return "it is not valid yet (is this computer's clock right?)";
        default:
            return fmt::format("it is not trusted ({})", X509_verify_cert_error_string(result));
        }
    }();
    return {Error::Kind::secureConnectionFailed, fmt::format("The server's certificate was refused: {}.", problem)};
}

} // namespace

asio::ssl::context& TlsSettings::context()
{
    std::call_once(m_once, [this] {
        m_context.emplace(asio::ssl::context::tls_client);
        error_code ignored; // without any certificates every server is refused, with its own message
        SSL_CTX_set_min_proto_version(m_context->native_handle(), TLS1_2_VERSION);
        m_context->set_default_verify_paths(ignored);
        m_context->set_verify_mode(asio::ssl::verify_peer, ignored);
    });
    return *m_context;
}

Error connectionError(error_code code)
{
    if (code.category() == asio::error::get_ssl_category())
        return {Error::Kind::secureConnectionFailed,
            fmt::format("The encrypted connection to the server failed ({}).", code.message())};
    if (code == asio::error::timed_out)
        return {Error::Kind::timedOut, "The server did not answer in time."};
    return {Error::Kind::networkConnectionLost, "The connection to the server was lost."};
}

Dial::Dial(TcpSocket& socket, Url const& url, ProxySettings const& proxies)
    : m_socket(socket)
    , m_url(url)
    , m_proxies(proxies)
    , m_wake(socket.get_executor())
{
}

void Dial::abort()
{
    error_code ignored;
    m_aborted = true;
    m_socket.close(ignored);
    m_wake.cancel();
}

asio::awaitable<std::optional<Error>> Dial::run()
{
    auto const proxy = m_proxies.proxyFor(m_url);
    if (!proxy)
        co_return proxy.error();
    auto const host = *proxy ? (*proxy)->host : m_url.host;
    auto const port = *proxy ? (*proxy)->port : m_url.port;
    auto const endpoints = co_await lookUp(host, port);
    if (!endpoints)
        co_return endpoints.error();
    auto failed = co_await connect(*endpoints);
    if (!failed && *proxy)
        failed = co_await tunnel((*proxy)->credentials);
    co_return failed;
}

asio::awaitable<Result<Dial::Endpoints>> Dial::lookUp(std::string host, std::uint16_t port)
{
    if (host == "localhost")
        co_return Endpoints{{asio::ip::address_v4::loopback(), port}, {asio::ip::address_v6::loopback(), port}};
    error_code notNumeric;
    auto const address = asio::ip::make_address(host, notNumeric);
    if (!notNumeric)
        co_return Endpoints{{address, port}};

    if (m_aborted)
        co_return cancelledError();
    auto const question = std::make_shared<LookUp>();
    question->waiting = &m_wake;
    GiveUp const giveUp{question};
    m_wake.expires_at(asio::steady_timer::time_point::max());
    try {
        std::thread([question, host, port] {
            question->ask(host, port);
            wake(question);
        }).detach();
    } catch (std::system_error const&) {
        co_return Error{Error::Kind::resourceUnavailable, "This computer has no thread to give."};
    }
    co_await m_wake.async_wait(token);
    std::lock_guard const lock(question->mutex);
    if (!question->done || m_aborted)
        co_return cancelledError();
    if (question->error != 0)
        co_return lookUpError(question->error, host);
    co_return std::move(question->found);
}

asio::awaitable<std::optional<Error>> Dial::connect(Endpoints endpoints)
{
    using namespace asio::experimental::awaitable_operators;
    error_code code = asio::error::host_not_found;
    for (std::size_t i = 0; i < endpoints.size(); ++i) {
        error_code ignored;
        m_socket.close(ignored);
        if (m_aborted)
            break;
        if (i + 1 == endpoints.size()) {
            auto const [result] = co_await m_socket.async_connect(endpoints[i], token);
            code = result;
        } else {
            m_wake.expires_after(attemptLimit);
            auto const result = co_await (m_socket.async_connect(endpoints[i], token) || m_wake.async_wait(token));
            code = result.index() == 0 ? std::get<0>(std::get<0>(result)) : asio::error::timed_out;
        }
        if (!code)
            co_return std::nullopt;
    }
    co_return connectError(code);
}

asio::awaitable<std::optional<Error>> Dial::tunnel(std::string credentials)
{
    auto const target = fmt::format(
        "{}:{}", m_url.host.find(':') == std::string::npos ? m_url.host : '[' + m_url.host + ']', m_url.port);
    http::request<http::empty_body> request(http::verb::connect, target, 11);
    request.set(http::field::host, target);
    if (!credentials.empty())
        request.set(http::field::proxy_authorization, "Basic " + encodeBase64(credentials));
    auto const [notWritten, written] = co_await http::async_write(m_socket, request, token);
    if (notWritten)
        co_return connectionError(notWritten);

    boost::beast::flat_buffer buffer;
    http::response_parser<http::empty_body> parser;
    parser.skip(true);
    auto const [notRead, read] = co_await http::async_read_header(m_socket, buffer, parser, token);
    if (notRead)
        co_return Error{Error::Kind::cannotConnectToHost, "The proxy did not answer."};
    int const status = static_cast<int>(parser.get().result_int());
    if (status / 100 == 2)
        co_return std::nullopt;
    bool const unreachable = status == 502 || status == 503 || status == 504;
    co_return Error{unreachable ? Error::Kind::cannotConnectToHost : Error::Kind::badServerResponse,
        fmt::format("The proxy refused the connection (HTTP {}).", status), status};
}

asio::awaitable<std::optional<Error>> secure(TlsSocket& socket, Url const& url)
{
    auto* const ssl = socket.native_handle();
    auto* const check = SSL_get0_param(ssl);
    if (X509_VERIFY_PARAM_set1_ip_asc(check, url.host.c_str()) != 1) {
        X509_VERIFY_PARAM_set_hostflags(check, X509_CHECK_FLAG_NO_PARTIAL_WILDCARDS);
        X509_VERIFY_PARAM_set1_host(check, url.host.c_str(), url.host.size());
        SSL_set_tlsext_host_name(ssl, url.host.c_str());
    }
    auto const [code] = co_await socket.async_handshake(asio::ssl::stream_base::client, token);
    if (!code)
        co_return std::nullopt;
    if (auto const result = SSL_get_verify_result(ssl); result != X509_V_OK)
        co_return certificateError(result, url.host);
    if (code.category() == asio::error::get_ssl_category() || code == asio::ssl::error::stream_truncated)
        co_return Error{
            Error::Kind::secureConnectionFailed, "The server does not speak encrypted connections rightly."};
    co_return connectionError(code);
}

} // namespace lingrelay
