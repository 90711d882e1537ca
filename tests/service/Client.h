#pragma once

#include "tests/platform/RealNetwork.h"
#include "tests/support/LocalService.h"

#include <optional>

#include <fmt/format.h>

namespace lingrelay::service {

/// One for all clients of a test program.
inline RealNetwork& realNetwork()
{
    static RealNetwork network;
    return network;
}

/// A WebSocket client that waits for one thing at a time.
class Client {
public:
    /// `bearer` empty: no header.
    Client(LocalService const& service, std::string const& path, std::string const& bearer)
    {
        WebSocketRequest request;
        request.url = fmt::format("ws://127.0.0.1:{}{}", service.port, path);
        request.bearer = bearer;
        m_socket = realNetwork().network->connect(request, realNetwork().loop);
        realNetwork().until([this] { return m_socket->state() != WebSocket::State::connecting; });
    }

    bool open() const { return m_socket->state() == WebSocket::State::open; }
    void text(std::string const& text) { m_socket->sendText(text, {}); }
    void send(Json const& message) { text(jsonText(message)); }
    void binary(std::string const& bytes) { m_socket->sendBinary(bytes, {}); }
    /// The next frame's text; nothing after the end of the connection, or when nothing came in time.
    std::optional<std::string> receive(Duration limit = seconds(30))
    {
        if (!std::exchange(m_asked, true))
            m_socket->receive([this](Result<WebSocket::Message> got) { m_got = std::move(got); });
        if (!realNetwork().until([this] { return m_got.has_value(); }, limit))
            return {};
        m_asked = false;
        auto const got = *std::exchange(m_got, {});
        if (!got)
            m_closeCode = got.error().code;
        return got ? std::optional(got->data) : std::nullopt;
    }
    /// The next frame as JSON; null in the same cases.
    Json message(Duration limit = seconds(30))
    {
        auto const text = receive(limit);
        return text ? parseJson(*text).value_or(Json()) : Json();
    }
    /// Of the close frame, once receive() has given nothing; 0 without one.
    int closeCode() const { return m_closeCode; }

private:
    std::shared_ptr<WebSocket> m_socket;
    bool m_asked = false;
    std::optional<Result<WebSocket::Message>> m_got;
    int m_closeCode = 0;
};

/// The status and the body of a POST; 0 when no answer comes. `bearer` empty: no header.
inline std::pair<int, std::string> post(
    LocalService const& service, std::string const& path, std::string const& body, std::string const& bearer = {})
{
    lingrelay::HttpRequest request{"POST", fmt::format("http://127.0.0.1:{}{}", service.port, path), {}, body};
    if (!bearer.empty())
        request.headers.emplace_back("Authorization", "Bearer " + bearer);
    std::optional<Result<lingrelay::HttpResponse>> answer;
    realNetwork().network->exchange(request, realNetwork().loop, [&](auto told) { answer = std::move(told); });
    bool const good = realNetwork().until([&] { return answer.has_value(); }, seconds(30)) && *answer;
    return good ? std::pair((*answer)->status, (*answer)->body) : std::pair(0, std::string());
}

} // namespace lingrelay::service
