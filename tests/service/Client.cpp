#include "tests/service/Client.h"

#include <csignal>
#include <thread>

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core.hpp>
#include <boost/beast/http.hpp>
#include <boost/beast/websocket.hpp>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay::service {

namespace asio = boost::asio;
namespace beast = boost::beast;
using asio::ip::tcp;

namespace {

tcp::endpoint placeOf(std::uint16_t port) { return {asio::ip::address_v4::loopback(), port}; }

std::string readLine(int descriptor)
{
    std::string line;
    char letter = 0;
    while (::read(descriptor, &letter, 1) == 1 && letter != '\n')
        line += letter;
    return line;
}

} // namespace

ServiceProcess::ServiceProcess(std::vector<std::string> const& options)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return;
    m_output = ends[0];
    m_errors = ::memfd_create("errors", MFD_CLOEXEC);
    std::vector<char*> words{const_cast<char*>(LINGRELAY_SERVICE_PROGRAM)};
    for (auto const& option : options)
        words.push_back(const_cast<char*>(option.c_str()));
    words.push_back(nullptr);
    m_process = ::fork();
    if (m_process == 0) {
        ::dup2(ends[1], 1);
        ::dup2(m_errors, 2);
        ::execv(words[0], words.data());
        ::_exit(127);
    }
    ::close(ends[1]);
    firstLine = readLine(m_output);
    char text[128] = {};
    unsigned number = 0;
    if (std::sscanf(firstLine.c_str(), "listening 127.0.0.1:%u %127s", &number, text) == 2) {
        port = static_cast<std::uint16_t>(number);
        token = text;
    }
}

ServiceProcess::~ServiceProcess()
{
    if (!m_exit) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, nullptr, 0);
    }
    ::close(m_output);
    ::close(m_errors);
}

void ServiceProcess::signal(int number) const { ::kill(m_process, number); }

int ServiceProcess::waitForEnd(Duration limit)
{
    auto const deadline = Clock::now() + limit;
    while (!m_exit) {
        int status = 0;
        if (::waitpid(m_process, &status, WNOHANG) == m_process)
            m_exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        else if (Clock::now() >= deadline)
            return -1;
        else
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return *m_exit;
}

std::string ServiceProcess::complaint() const
{
    std::string text(8192, '\0');
    auto const size = ::pread(m_errors, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(size, 0)));
    return text;
}

bool ServiceProcess::running() const { return !m_exit && ::waitpid(m_process, nullptr, WNOHANG) == 0; }

struct Client::Impl {
    asio::io_context context;
    beast::websocket::stream<beast::tcp_stream> socket{context};
    beast::flat_buffer buffer;
    bool open = false;

    /// Runs one operation; false when it failed or took too long.
    template <class Start> bool run(Duration limit, Start start)
    {
        std::optional<bool> good;
        start([&good](beast::error_code error, auto&&...) { good = !error; });
        context.restart();
        context.run_for(limit);
        if (!good) { // too slow: the operation must end before `good` does
            beast::get_lowest_layer(socket).close();
            context.restart();
            context.run();
            return false;
        }
        return *good;
    }
};

Client::Client(std::uint16_t port, std::string const& path, std::string const& bearer)
    : m_impl(std::make_unique<Impl>())
{
    auto& socket = m_impl->socket;
    beast::error_code error;
    beast::get_lowest_layer(socket).socket().connect(placeOf(port), error);
    if (error)
        return;
    socket.set_option(beast::websocket::stream_base::decorator([bearer](beast::websocket::request_type& request) {
        if (!bearer.empty())
            request.set(beast::http::field::authorization, "Bearer " + bearer);
    }));
    m_impl->open = m_impl->run(seconds(10), [&](auto done) { socket.async_handshake("localhost", path, done); });
}

Client::~Client() = default;
Client::Client(Client&&) noexcept = default;
Client& Client::operator=(Client&&) noexcept = default;

bool Client::open() const { return m_impl->open; }

void Client::text(std::string const& text)
{
    m_impl->socket.text(true);
    m_impl->open = m_impl->open
        && m_impl->run(seconds(20), [&](auto done) { m_impl->socket.async_write(asio::buffer(text), done); });
}

void Client::binary(std::string const& bytes)
{
    m_impl->socket.binary(true);
    m_impl->open = m_impl->open
        && m_impl->run(seconds(20), [&](auto done) { m_impl->socket.async_write(asio::buffer(bytes), done); });
}

std::optional<std::string> Client::receive(Duration limit)
{
    m_impl->buffer.clear();
    if (!m_impl->open)
        return {};
    m_impl->open = m_impl->run(limit, [&](auto done) { m_impl->socket.async_read(m_impl->buffer, done); });
    if (!m_impl->open)
        return {};
    return beast::buffers_to_string(m_impl->buffer.cdata());
}

Json Client::message(Duration limit)
{
    auto const text = receive(limit);
    return text ? parseJson(*text).value_or(Json()) : Json();
}

int Client::closeCode() const { return m_impl->socket.reason().code; }

std::pair<int, std::string> post(
    std::uint16_t port, std::string const& path, std::string const& body, std::string const& bearer)
{
    namespace http = beast::http;
    asio::io_context context;
    tcp::socket socket(context);
    beast::error_code error;
    socket.connect(placeOf(port), error);
    http::request<http::string_body> request(http::verb::post, path, 11, body);
    request.set(http::field::host, "localhost");
    if (!bearer.empty())
        request.set(http::field::authorization, "Bearer " + bearer);
    request.prepare_payload();
    http::write(socket, request, error);
    beast::flat_buffer buffer;
    http::response<http::string_body> response;
    http::read(socket, buffer, response, error);
    return {error ? 0 : static_cast<int>(response.result_int()), response.body()};
}

std::string sendRaw(std::uint16_t port, std::string const& bytes)
{
    asio::io_context context;
    beast::tcp_stream stream(context);
    beast::error_code ignored;
    stream.socket().connect(placeOf(port), ignored);
    asio::write(stream.socket(), asio::buffer(bytes), ignored);
    std::string answer;
    stream.expires_after(std::chrono::seconds(1));
    asio::async_read(stream, asio::dynamic_buffer(answer), [](beast::error_code, std::size_t) {});
    context.run();
    return answer;
}

} // namespace lingrelay::service
