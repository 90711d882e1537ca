#pragma once

#include "tests/platform/TestServer.h"

#include <memory>
#include <string>

namespace lingrelay {

/// A self-signed certificate for names such as "DNS:localhost, IP:127.0.0.1", and its key; PEM.
struct TestCertificate {
    std::string certificate;
    std::string key;

    /// It ends so many seconds from now.
    static TestCertificate make(std::string const& names, long end = 3600);
};

/// A real server on 127.0.0.1, plain or encrypted, on a thread of its own.
class LoopbackServer final : public TestServer {
public:
    explicit LoopbackServer(std::optional<TestCertificate> certificate);
    ~LoopbackServer() override;

    std::uint16_t port() const;
    /// A receive window of a few kilobytes for later connections.
    void useSmallWindow();

    void answerWith(Answer answer, Duration delay) override;
    void answerHttp(std::function<HttpAnswer(HttpSeen const&)> answer) override;
    std::string url(std::string const& scheme, std::string const& target) const override;
    std::vector<Seen> seen() override;
    void send(std::size_t connection, WebSocket::Message message) override;
    void close(std::size_t connection, int code) override;
    void drop(std::size_t connection) override;
    void stall(std::size_t connection) override;
    void resume(std::size_t connection) override;
    std::size_t unreadBytes(std::size_t connection) override;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// The server's answer to the key of an upgrade request.
std::string webSocketAccept(std::string const& key);

/// Plain TCP on 127.0.0.1: each connection is handed to `serve` on the server's thread, and closed after it.
class RawServer {
public:
    class Connection {
    public:
        explicit Connection(int descriptor) : m_descriptor(descriptor) { }
        /// Reads up to the end of an HTTP header.
        std::string readHeader();
        /// What comes next, at most 64 KiB; empty at the end.
        std::string read();
        void write(std::string_view bytes);
        /// Carries bytes both ways between here and a local port until one side ends.
        void tunnelTo(std::uint16_t port);

    private:
        int m_descriptor;
    };

    explicit RawServer(std::function<void(Connection&)> serve);
    ~RawServer();
    std::uint16_t port() const { return m_port; }

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
    std::uint16_t m_port = 0;
};

} // namespace lingrelay
