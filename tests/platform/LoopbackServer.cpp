#include "tests/platform/LoopbackServer.h"

#include "base/Base64.h"
#include "base/Time.h"

#include <fstream>
#include <future>
#include <mutex>
#include <random>
#include <thread>

#include <boost/asio/as_tuple.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/ssl.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <boost/beast/websocket/ssl.hpp>
#include <fmt/format.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>

namespace asio = boost::asio;
namespace beast = boost::beast;
namespace http = boost::beast::http;
namespace websocket = boost::beast::websocket;
using asio::ip::tcp;
using boost::system::error_code;

namespace lingrelay {

namespace {

constexpr auto token = asio::as_tuple(asio::use_awaitable);

template <class F> std::string pem(F write)
{
    BIO* const memory = BIO_new(BIO_s_mem());
    write(memory);
    char* data = nullptr;
    auto const size = BIO_get_mem_data(memory, &data);
    std::string text(data, static_cast<std::size_t>(size));
    BIO_free(memory);
    return text;
}

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](unsigned char c) { return std::tolower(c); });
    return result;
}

} // namespace

TestCertificate TestCertificate::make(std::string const& names, long end)
{
    EVP_PKEY* const key = EVP_EC_gen("P-256");
    X509* const certificate = X509_new();
    X509_set_version(certificate, 2);
    ASN1_INTEGER_set(X509_get_serialNumber(certificate), static_cast<long>(std::hash<std::string>()(names) & 0xFFFFFF));
    X509_gmtime_adj(X509_getm_notBefore(certificate), -3600);
    X509_gmtime_adj(X509_getm_notAfter(certificate), end);
    X509_set_pubkey(certificate, key);
    auto* const name = X509_get_subject_name(certificate);
    X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<unsigned char const*>("test"), -1, -1, 0);
    X509_set_issuer_name(certificate, name);
    for (auto const& [kind, value] :
        {std::pair(NID_subject_alt_name, names), {NID_basic_constraints, "critical,CA:TRUE"}}) {
        auto* const extension = X509V3_EXT_conf_nid(nullptr, nullptr, kind, value.c_str());
        X509_add_ext(certificate, extension, -1);
        X509_EXTENSION_free(extension);
    }
    X509_sign(certificate, key, EVP_sha256());
    TestCertificate result{pem([&](BIO* out) { PEM_write_bio_X509(out, certificate); }),
        pem([&](BIO* out) { PEM_write_bio_PrivateKey(out, key, nullptr, nullptr, 0, nullptr, nullptr); })};
    X509_free(certificate);
    EVP_PKEY_free(key);
    return result;
}

Environment::Environment(TestCertificate const& trusted)
    : m_name("SSL_CERT_FILE")
    , m_folder(std::make_unique<TemporaryFolder>())
{
    std::ofstream(*m_folder / "trusted.pem") << trusted.certificate;
    ::setenv(m_name, (*m_folder / "trusted.pem").c_str(), 1);
}

struct LoopbackServer::Impl {
    struct Session {
        virtual ~Session() = default;
        virtual void act(Deed deed) = 0;
        virtual int descriptor() = 0;
        bool ready = false; ///< the upgrade is done
        std::vector<std::function<void(Session&)>> early; ///< what was asked before that
    };
    template <class Transport> struct SessionOver;

    explicit Impl(std::optional<TestCertificate> certificate) : acceptor(io, {asio::ip::address_v4::loopback(), 0})
    {
        encrypted = certificate.has_value();
        if (certificate) {
            tls.use_certificate(asio::buffer(certificate->certificate), asio::ssl::context::pem);
            tls.use_private_key(asio::buffer(certificate->key), asio::ssl::context::pem);
        }
        asio::co_spawn(io, accept(), asio::detached);
        thread = std::thread([this] { io.run(); });
    }

    ~Impl()
    {
        io.stop();
        thread.join();
    }

    asio::awaitable<void> accept();

    void onSession(std::size_t connection, std::function<void(Session&)> job)
    {
        asio::post(io, [this, connection, job = std::move(job)] {
            if (connection >= sessions.size())
                return;
            auto& session = *sessions[connection];
            if (session.ready)
                job(session);
            else
                session.early.push_back(job);
        });
    }

    asio::io_context io;
    asio::ssl::context tls{asio::ssl::context::tls_server};
    bool encrypted = false;
    tcp::acceptor acceptor;
    std::vector<std::shared_ptr<Session>> sessions; ///< io thread

    std::mutex mutex;
    std::vector<Seen> seen;
    Answer answer = Answer::accept;
    Duration delay{};
    std::function<HttpAnswer(HttpSeen const&)> httpAnswer;
    std::thread thread;
};

template <class Transport>
struct LoopbackServer::Impl::SessionOver final : Session, std::enable_shared_from_this<SessionOver<Transport>> {
    template <class... Context>
    SessionOver(Impl& owner, tcp::socket socket, Context&... tls)
        : impl(owner)
        , stream(std::move(socket), tls...)
        , timer(owner.io)
    {
    }

    Impl& impl;
    websocket::stream<Transport> stream;
    asio::steady_timer timer;
    std::size_t index = 0;
    bool stalled = false;
    std::deque<WebSocket::Message> outbox;

    template <class F> void record(F change)
    {
        std::lock_guard const lock(impl.mutex);
        change(impl.seen[index]);
    }

    asio::awaitable<void> run([[maybe_unused]] std::shared_ptr<SessionOver> self)
    {
        if constexpr (std::is_same_v<Transport, asio::ssl::stream<tcp::socket>>) {
            auto const [failed] = co_await stream.next_layer().async_handshake(asio::ssl::stream_base::server, token);
            if (failed)
                co_return;
        }
        beast::flat_buffer buffer;
        http::request_parser<http::string_body> parser;
        parser.body_limit(64 << 20);
        auto const [failed, read] = co_await http::async_read(stream.next_layer(), buffer, parser, token);
        if (failed)
            co_return;
        auto const request = parser.release();
        if (websocket::is_upgrade(request))
            co_await serveSocket(request);
        else
            co_await serveHttp(request);
        error_code ignored;
        beast::get_lowest_layer(stream).close(ignored);
    }

    asio::awaitable<void> pause(Duration time)
    {
        if (time >= Duration())
            timer.expires_after(time);
        else
            timer.expires_at(Instant::max());
        co_await timer.async_wait(token);
    }

    asio::awaitable<void> serveHttp(http::request<http::string_body> request)
    {
        HttpSeen seen{std::string(request.method_string()), std::string(request.target()), request.body(), {}};
        for (auto const& field : request)
            seen.headers.emplace_back(lowered(field.name_string()), std::string(field.value()));
        auto const handler = [this] {
            std::lock_guard const lock(impl.mutex);
            return impl.httpAnswer;
        }();
        auto const answer = handler(seen);
        co_await pause(answer.delay);
        http::response<http::string_body> response(static_cast<http::status>(answer.response.status), 11);
        for (auto const& [name, value] : answer.response.headers)
            response.insert(name, value);
        response.body() = answer.response.body;
        response.prepare_payload();
        co_await http::async_write(stream.next_layer(), response, token);
    }

    asio::awaitable<void> serveSocket(http::request<http::string_body> request)
    {
        Answer answer;
        Duration delay;
        {
            std::lock_guard const lock(impl.mutex);
            index = impl.seen.size();
            impl.seen.push_back(
                {std::string(request.target()), std::string(request[http::field::authorization]), {}, {}, {}});
            answer = impl.answer;
            delay = impl.delay;
        }
        impl.sessions.push_back(this->shared_from_this());
        co_await pause(answer == Answer::never ? Duration(-1) : delay);
        if (answer == Answer::refuse) {
            http::response<http::string_body> response(http::status::unauthorized, 11);
            response.prepare_payload();
            co_await http::async_write(stream.next_layer(), response, token);
            co_return;
        }
        stream.read_message_max(64 << 20);
        stream.auto_fragment(false);
        stream.control_callback([this](websocket::frame_type kind, beast::string_view) {
            if (kind == websocket::frame_type::ping)
                record([](Seen& seen) { seen.frames.push_back("ping"); });
        });
        auto const [failed] = co_await stream.async_accept(request, token);
        this->ready = true;
        for (auto const& job : std::exchange(this->early, {}))
            job(*this);
        if (!failed)
            co_await readAll();
        record([this](Seen& seen) {
            if (stream.reason().code != websocket::close_code::none)
                seen.closeCode = stream.reason().code;
            seen.gone = true;
        });
    }

    asio::awaitable<void> readAll()
    {
        for (;;) {
            while (stalled)
                co_await pause(Duration(-1));
            beast::flat_buffer buffer;
            auto const [failed, read] = co_await stream.async_read(buffer, token);
            if (failed)
                co_return;
            record([&](Seen& seen) {
                seen.frames.push_back(
                    (stream.got_binary() ? "binary " : "text ") + beast::buffers_to_string(buffer.cdata()));
            });
        }
    }

    void act(Deed deed) override
    {
        error_code ignored;
        switch (deed.kind) {
        case Deed::Kind::send:
            outbox.push_back(std::move(deed.message));
            if (outbox.size() == 1)
                write();
            break;
        case Deed::Kind::close:
            stream.async_close(websocket::close_reason(static_cast<std::uint16_t>(deed.code)),
                [self = this->shared_from_this()](error_code) {});
            break;
        case Deed::Kind::drop:
            beast::get_lowest_layer(stream).close(ignored);
            break;
        case Deed::Kind::stall:
        case Deed::Kind::resume:
            stalled = deed.kind == Deed::Kind::stall;
            timer.cancel();
            break;
        }
    }

    void write()
    {
        stream.binary(outbox.front().binary);
        stream.async_write(
            asio::buffer(outbox.front().data), [self = this->shared_from_this()](error_code failed, std::size_t) {
                self->outbox.pop_front();
                if (!failed && !self->outbox.empty())
                    self->write();
            });
    }

    int descriptor() override { return beast::get_lowest_layer(stream).native_handle(); }
};

asio::awaitable<void> LoopbackServer::Impl::accept()
{
    for (;;) {
        auto [failed, socket] = co_await acceptor.async_accept(token);
        if (failed)
            co_return;
        auto const start = [this](auto session) { asio::co_spawn(io, session->run(session), asio::detached); };
        if (encrypted)
            start(std::make_shared<SessionOver<asio::ssl::stream<tcp::socket>>>(*this, std::move(socket), tls));
        else
            start(std::make_shared<SessionOver<tcp::socket>>(*this, std::move(socket)));
    }
}

LoopbackServer::LoopbackServer(std::optional<TestCertificate> certificate)
    : m_impl(std::make_unique<Impl>(std::move(certificate)))
{
}
LoopbackServer::~LoopbackServer() = default;

std::uint16_t LoopbackServer::port() const { return m_impl->acceptor.local_endpoint().port(); }

void LoopbackServer::useSmallWindow() { m_impl->acceptor.set_option(asio::socket_base::receive_buffer_size(4096)); }

void LoopbackServer::answerWith(Answer answer, Duration delay)
{
    std::lock_guard const lock(m_impl->mutex);
    m_impl->answer = answer;
    m_impl->delay = delay;
}

void LoopbackServer::answerHttp(std::function<HttpAnswer(HttpSeen const&)> answer)
{
    std::lock_guard const lock(m_impl->mutex);
    m_impl->httpAnswer = std::move(answer);
}

std::string LoopbackServer::url(std::string const& scheme, std::string const& target) const
{
    return fmt::format("{}{}://localhost:{}{}", scheme, m_impl->encrypted ? "s" : "", port(), target);
}

std::vector<TestServer::Seen> LoopbackServer::seen()
{
    std::lock_guard const lock(m_impl->mutex);
    return m_impl->seen;
}

void LoopbackServer::act(std::size_t connection, Deed deed)
{
    m_impl->onSession(connection, [deed = std::move(deed)](Impl::Session& session) { session.act(deed); });
}

std::size_t LoopbackServer::unreadBytes(std::size_t connection)
{
    std::promise<int> bytes;
    m_impl->onSession(connection, [&](Impl::Session& session) {
        int count = 0;
        ::ioctl(session.descriptor(), FIONREAD, &count);
        bytes.set_value(count);
    });
    return static_cast<std::size_t>(bytes.get_future().get());
}

std::string webSocketAccept(std::string const& key)
{
    auto const text = key + "258EAFA5-E914-47DA-95CA-C5AB0DC85B11"; // fixed by RFC 6455
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_Digest(text.data(), text.size(), digest, &size, EVP_sha1(), nullptr);
    return encodeBase64({reinterpret_cast<char const*>(digest), size});
}

namespace {

sockaddr_in place(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

int connectedTo(std::uint16_t port)
{
    int const descriptor = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    auto const address = place(port);
    ::connect(descriptor, reinterpret_cast<sockaddr const*>(&address), sizeof address);
    return descriptor;
}

} // namespace

RawServer::RawServer(std::function<void(Connection const&)> serve)
    : m_serve(std::move(serve))
    , m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    auto address = place(0);
    socklen_t size = sizeof address;
    int const window = 4096; // what waits, waits with the sender
    ::setsockopt(m_listener, SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
    ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), size);
    ::listen(m_listener, 64);
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &size);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { run(); });
}

RawServer::~RawServer()
{
    ::shutdown(m_listener, SHUT_RDWR);
    m_thread.join();
    for (auto& [descriptor, thread] : m_connections) {
        ::shutdown(descriptor, SHUT_RDWR);
        thread.join();
        ::close(descriptor);
    }
    ::close(m_listener);
}

void RawServer::run()
{
    for (int client = 0; (client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC)) >= 0;) {
        m_connections.emplace_back(client, [this, client] {
            m_serve(Connection(client));
            ::shutdown(client, SHUT_RDWR);
        });
    }
}

void RawServer::send(std::uint16_t port, std::string_view bytes)
{
    int const descriptor = connectedTo(port);
    timeval const limit{1, 0};
    ::setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
    Connection const connection(descriptor);
    connection.write(bytes);
    connection.read();
    ::close(descriptor);
}

std::string RawServer::Connection::readHeader() const
{
    std::string text;
    char c = 0;
    while (text.find("\r\n\r\n") == std::string::npos && ::recv(m_descriptor, &c, 1, 0) == 1)
        text += c;
    return text;
}

std::string RawServer::Connection::read(std::size_t most) const
{
    std::string text(most, '\0');
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(::recv(m_descriptor, text.data(), text.size(), 0), 0)));
    return text;
}

void RawServer::Connection::write(std::string_view bytes) const
{
    while (!bytes.empty()) {
        auto const count = ::send(m_descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count <= 0)
            return;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
}

void RawServer::Connection::tunnelTo(std::uint16_t port, std::function<Passage()> const& passage) const
{
    using Kind = Passage::Kind;
    Connection const far(connectedTo(port));
    std::mt19937 random(1);
    std::array<Instant, 2> next{}; ///< when that end is read again
    auto now = passage();
    for (bool open = true; open && now.kind != Kind::reset; now = passage()) {
        std::array<pollfd, 2> ends{pollfd{m_descriptor, 0, 0}, pollfd{far.m_descriptor, 0, 0}};
        for (std::size_t from = 0; from < 2; ++from)
            ends[from].events = now.kind == Kind::nothing || next[from] > Clock::now() ? 0 : POLLIN;
        ::poll(ends.data(), ends.size(), 2);
        for (std::size_t from = 0; from < 2; ++from) {
            if (ends[from].revents == 0)
                continue;
            bool const pieces = now.kind == Kind::pieces;
            auto const most = pieces ? 1 + random() % 6000 : now.bytesPerSecond > 0 ? 1600 : 64 << 10;
            auto const bytes = now.kind == Kind::nothing ? "" : (from == 0 ? *this : far).read(most);
            (from == 0 ? far : *this).write(bytes);
            open = open && !bytes.empty();
            next[from] = Clock::now() + std::chrono::milliseconds(pieces ? random() % 80 : 0);
            if (now.bytesPerSecond > 0)
                next[from] += seconds(static_cast<double>(bytes.size()) / now.bytesPerSecond);
        }
    }
    if (now.kind == Kind::reset) { // as what is unconnected is
        sockaddr const nowhere{.sa_family = AF_UNSPEC, .sa_data = {}};
        ::connect(far.m_descriptor, &nowhere, sizeof nowhere);
        ::connect(m_descriptor, &nowhere, sizeof nowhere);
    }
    ::close(far.m_descriptor);
}

} // namespace lingrelay
