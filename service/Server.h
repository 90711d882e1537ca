#pragma once

#include "service/script/Recorder.h"
#include "service/script/Script.h"
#include "service/wire/Peer.h"
#include "service/wire/Provider.h"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>

namespace lingrelay::service {

/// The whole service on one loopback port: both WebSocket protocols and the endpoints of the backend. The context's
/// thread only; it serves until the program ends.
class Server {
public:
    struct Options {
        std::uint16_t port = 0;
        std::optional<Script> script;
        SessionBook::Plan sessions;
        std::string modelFolder; ///< of speech models
        std::string modesFolder; ///< of translation pairs
    };

    Server(asio::io_context& context, Options options);

    /// Binds 127.0.0.1 and begins to serve. The error is one line for the user.
    std::optional<Error> listen();
    std::uint16_t port() const;
    /// A line that says what the engines translate, "translates en ca es"; nothing when a script takes their place.
    std::string pairs() const;
    std::string const& token() const { return m_token; }

private:
    enum class Protocol { stt, tts };

    asio::awaitable<void> acceptAll();
    asio::awaitable<void> serve(asio::ip::tcp::socket socket);
    asio::awaitable<void> serveSocket(beast::tcp_stream stream, HttpRequest request);
    asio::awaitable<bool> admit(beast::tcp_stream& stream, HttpRequest const& request, ScriptConnection const& scripted,
        std::string const& name);
    asio::awaitable<bool> serveRequest(beast::tcp_stream& stream, HttpRequest const& request);
    /// Nothing when the client gets none and the connection is over.
    asio::awaitable<std::optional<HttpResponse>> answerTo(
        beast::tcp_stream& stream, HttpRequest const& request, std::string const& operation, ScriptAnswer const& how);
    struct Answer {
        int status = 200;
        Json body;
    };
    /// `request` is the body, with the caller's token as `client_token`.
    Answer realAnswer(std::string const& operation, Json const& request);
    Answer summaryAnswer(Json const& request) const;
    asio::awaitable<Answer> translation(Json request);

    asio::io_context& m_context;
    Options m_options;
    std::string m_token;
    Provider m_provider;
    Recorder m_recorder;
    asio::ip::tcp::acceptor m_acceptor;
    int m_connections = 0;
    std::map<Protocol, std::size_t> m_sockets; ///< so far
    std::map<std::string, std::size_t> m_requests; ///< so far, by operation
};

} // namespace lingrelay::service
