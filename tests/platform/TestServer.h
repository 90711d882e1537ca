#pragma once

#include "platform/Network.h"

#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// The server of a contract test: the same script is played by a simulated peer and over a real loopback connection.
/// Connections are counted from 0 in the order in which they came.
class TestServer {
public:
    enum class Answer { accept, refuse, never };
    struct Seen {
        std::string target;
        std::string authorization;
        std::vector<std::string> frames; ///< "text ...", "binary ...", "ping"
        std::optional<int> closeCode;
        bool gone = false;
    };
    struct HttpSeen {
        std::string method, target, body;
        std::vector<std::pair<std::string, std::string>> headers; ///< names in lower case
    };
    struct HttpAnswer {
        HttpResponse response;
        Duration delay{}; ///< negative: never
    };

    virtual ~TestServer() = default;

    /// For the connections that come after.
    virtual void answerWith(Answer answer, Duration delay) = 0;
    virtual void answerHttp(std::function<HttpAnswer(HttpSeen const&)> answer) = 0;
    virtual std::string url(std::string const& scheme, std::string const& target) const = 0;

    virtual std::vector<Seen> seen() = 0;
    void send(std::size_t connection, WebSocket::Message message)
    {
        act(connection, {Deed::Kind::send, std::move(message)});
    }
    void close(std::size_t connection, int code) { act(connection, {Deed::Kind::close, {}, code}); }
    void drop(std::size_t connection) { act(connection, {Deed::Kind::drop}); }
    void stall(std::size_t connection) { act(connection, {Deed::Kind::stall}); }
    void resume(std::size_t connection) { act(connection, {Deed::Kind::resume}); }
    /// What the server's own system holds for a server that does not read.
    virtual std::size_t unreadBytes(std::size_t connection) = 0;

protected:
    struct Deed {
        enum class Kind : unsigned char { send, close, drop, stall, resume };
        Kind kind;
        WebSocket::Message message{};
        int code = 0;
    };
    virtual void act(std::size_t connection, Deed deed) = 0;
};

} // namespace lingrelay
