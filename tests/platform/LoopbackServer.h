#pragma once

#include "tests/platform/TestServer.h"
#include "tests/support/TemporaryFolder.h"

#include <atomic>
#include <list>
#include <memory>
#include <string>
#include <thread>

namespace lingrelay {

/// A self-signed certificate for names such as "DNS:localhost, IP:127.0.0.1", and its key; PEM.
struct TestCertificate {
    std::string certificate;
    std::string key;

    /// It ends so many seconds from now.
    static TestCertificate make(std::string const& names, long end = 3600);
};

/// Environment variables that are set for a while, and of them the one that names the trusted certificates.
class Environment {
public:
    Environment(char const* name, std::string const& value) : m_name(name) { ::setenv(name, value.c_str(), 1); }
    explicit Environment(TestCertificate const& trusted);
    ~Environment() { ::unsetenv(m_name); }
    Environment(Environment const&) = delete;
    Environment& operator=(Environment const&) = delete;

private:
    char const* m_name;
    std::unique_ptr<TemporaryFolder> m_folder;
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
    void act(std::size_t connection, Deed deed) override;
    std::size_t unreadBytes(std::size_t connection) override;

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

/// The server's answer to the key of an upgrade request.
std::string webSocketAccept(std::string const& key);

/// What a tunnel does at the moment.
struct Passage {
    enum class Kind : unsigned char { whole, pieces, nothing, reset };
    Kind kind = Kind::whole;
    double bytesPerSecond = 0; ///< each way; 0: any number
};

/// Plain TCP on 127.0.0.1: each connection is served on a thread of its own, and closed after it.
class RawServer {
public:
    class Connection {
    public:
        explicit Connection(int descriptor) : m_descriptor(descriptor) { }
        /// Reads up to the end of an HTTP header.
        std::string readHeader() const;
        /// What comes next, at most so much; empty at the end.
        std::string read(std::size_t most = 64 << 10) const;
        void write(std::string_view bytes) const;
        /// Carries bytes both ways between here and a local port until one side ends.
        void tunnelTo(
            std::uint16_t port, std::function<Passage()> const& passage = [] { return Passage(); }) const;

    private:
        int m_descriptor;
    };

    explicit RawServer(std::function<void(Connection const&)> serve);
    ~RawServer();
    std::uint16_t port() const { return m_port; }

    /// Sends bytes to a local port and ends the connection once something has come back, or its end.
    static void send(std::uint16_t port, std::string_view bytes);

private:
    void run();

    std::function<void(Connection const&)> m_serve;
    int m_listener = -1;
    std::uint16_t m_port = 0;
    std::list<std::pair<int, std::thread>> m_connections;
    std::thread m_thread;
};

/// Stands between a client and a server on 127.0.0.1 and does to their connections what networks do.
class FaultyProxy {
public:
    enum class Weather : unsigned char {
        fair,
        cut, ///< all connections are reset, new ones as well
        dark, ///< connections stay open, new ones as well, and nothing passes: for good, as those that waited too long
        rough, ///< bytes come late and in pieces of any size, as after losses and changed order below
        slow, ///< half of what sound needs gets through, each way
    };

    explicit FaultyProxy(std::uint16_t server)
        : m_proxy([this, server](RawServer::Connection const& connection) {
            connection.tunnelTo(server, [this, dark = false]() mutable {
                auto const weather = m_weather.load();
                dark = dark || weather == Weather::dark;
                using Kind = Passage::Kind;
                return Passage{weather == Weather::cut ? Kind::reset
                        : dark                         ? Kind::nothing
                        : weather == Weather::rough    ? Kind::pieces
                                                       : Kind::whole,
                    weather == Weather::slow ? 16000.0 : 0};
            });
        })
    {
    }
    std::uint16_t port() const { return m_proxy.port(); }
    void set(Weather weather) { m_weather = weather; }

private:
    std::atomic<Weather> m_weather = Weather::fair;
    RawServer m_proxy;
};

} // namespace lingrelay
