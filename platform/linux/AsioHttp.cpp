#include "platform/linux/NetworkParts.h"

#include <algorithm>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
using boost::system::error_code;

namespace lingrelay {

namespace {

constexpr auto token = asio::as_tuple(asio::use_awaitable);

constexpr std::uint64_t largestBody = 16 << 20;
constexpr std::uint32_t largestHeader = 64 << 10;

Error answerError(error_code code)
{
    if (code == http::error::body_limit || code == http::error::header_limit)
        return {Error::Kind::badServerResponse, "The server's answer is too large."};
    if (code == http::error::end_of_stream || code == http::error::partial_message)
        return {Error::Kind::networkConnectionLost, "The connection to the server was lost."};
    if (code.category() == make_error_code(http::error::bad_version).category())
        return {Error::Kind::badServerResponse, "The server's answer was not understood."};
    return connectionError(code);
}

/// One request and its answer. Alive as long as an operation holds it.
template <class Transport> class Exchange : public std::enable_shared_from_this<Exchange<Transport>> {
public:
    using Done = std::function<void(Result<HttpResponse>)>;
    static constexpr bool encrypted = std::is_same_v<Transport, TlsSocket>;

    template <class... Context>
    Exchange(std::shared_ptr<NetworkParts> parts, HttpRequest request, Url const& url, Scheduler& scheduler, Done done,
        Context&... tls)
        : m_parts(std::move(parts))
        , m_url(url)
        , m_scheduler(scheduler)
        , m_done(std::move(done))
        , m_stream(m_parts->context.get_executor(), tls...)
        , m_dial(beast::get_lowest_layer(m_stream), m_url, m_parts->proxies)
        , m_alarm(m_stream.get_executor())
        , m_end(Clock::now() + request.timeout)
        , m_idleTimeout(request.idleTimeout)
    {
        m_request.method_string(request.method);
        m_request.target(m_url.target.empty() ? "/" : m_url.target);
        m_request.version(11);
        for (auto const& [name, value] : request.headers)
            m_request.insert(name, value);
        m_request.set(http::field::host, m_url.authority());
        m_request.set(http::field::connection, "close");
        m_request.set(http::field::content_length, std::to_string(request.body.size()));
        m_request.body() = std::move(request.body);
        m_parser.body_limit(largestBody);
        m_parser.header_limit(largestHeader);
        m_parser.skip(request.method == "HEAD");
    }

    void start() { asio::co_spawn(m_stream.get_executor(), run(this->shared_from_this()), asio::detached); }

private:
    asio::awaitable<void> run([[maybe_unused]] std::shared_ptr<Exchange> self)
    {
        watch();
        auto failed = co_await perform();
        if (failed)
            finish(std::move(*failed));
        else
            finish(response());
    }

    /// Looks again when nothing can have taken too long before.
    void watch()
    {
        m_alarm.expires_at(std::min(m_end, m_moved + m_idleTimeout));
        m_alarm.async_wait([weak = this->weak_from_this()](error_code code) {
            auto const self = code ? nullptr : weak.lock();
            if (!self || self->m_finished)
                return;
            auto const now = Clock::now();
            if (now < self->m_end && now < self->m_moved + self->m_idleTimeout)
                return self->watch();
            self->finish(Error{Error::Kind::timedOut, "The server did not answer in time."});
        });
    }

    asio::awaitable<std::optional<Error>> perform()
    {
        auto failed = co_await m_dial.run();
        if (failed || m_finished)
            co_return failed;
        if constexpr (encrypted) {
            failed = co_await secure(m_stream, m_url);
            if (failed || m_finished)
                co_return failed;
        }
        // A server may answer and close without having read all: its answer counts, not the failed write.
        auto const notWritten = co_await write();
        auto const notRead = co_await read();
        if (notRead)
            co_return answerError(notWritten ? notWritten : notRead);
        co_return std::nullopt;
    }

    asio::awaitable<error_code> write()
    {
        http::request_serializer<http::string_body> serializer(m_request);
        while (!serializer.is_done()) {
            auto const [code, bytes] = co_await http::async_write_some(m_stream, serializer, token);
            if (code)
                co_return code;
            m_moved = Clock::now();
        }
        co_return error_code();
    }

    asio::awaitable<error_code> read()
    {
        beast::flat_buffer buffer;
        while (!m_parser.is_done()) {
            auto const [code, bytes] = co_await http::async_read_some(m_stream, buffer, m_parser, token);
            if (code)
                co_return code;
            m_moved = Clock::now();
        }
        co_return error_code();
    }

    HttpResponse response()
    {
        auto message = m_parser.release();
        HttpResponse result;
        result.status = static_cast<int>(message.result_int());
        for (auto const& field : message) {
            std::string name(field.name_string());
            std::transform(name.begin(), name.end(), name.begin(),
                [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
            result.headers.emplace_back(std::move(name), std::string(field.value()));
        }
        result.body = std::move(message.body());
        return result;
    }

    void finish(Result<HttpResponse> result)
    {
        if (std::exchange(m_finished, true))
            return;
        m_alarm.cancel();
        m_dial.abort();
        m_parts->post(
            m_scheduler, [done = std::move(m_done), result = std::move(result)]() mutable { done(std::move(result)); });
    }

    std::shared_ptr<NetworkParts> const m_parts;
    Url const m_url;
    Scheduler& m_scheduler;
    Done m_done;
    Transport m_stream;
    Dial m_dial;
    asio::steady_timer m_alarm;
    Instant const m_end;
    Duration const m_idleTimeout;
    Instant m_moved = Clock::now(); ///< when bytes moved last, or the exchange began
    http::request<http::string_body> m_request;
    http::response_parser<http::string_body> m_parser;
    bool m_finished = false;
};

} // namespace

void exchangeHttp(std::shared_ptr<NetworkParts> parts, HttpRequest request, Url const& url, Scheduler& scheduler,
    std::function<void(Result<HttpResponse>)> done)
{
    if (url.secure()) {
        auto& tls = parts->tls.context();
        std::make_shared<Exchange<TlsSocket>>(
            std::move(parts), std::move(request), url, scheduler, std::move(done), tls)
            ->start();
    } else {
        std::make_shared<Exchange<TcpSocket>>(std::move(parts), std::move(request), url, scheduler, std::move(done))
            ->start();
    }
}

} // namespace lingrelay
