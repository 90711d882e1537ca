#include "tests/support/FaultyProxy.h"

#include <array>
#include <chrono>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr int step = 2; ///< milliseconds

sockaddr_in place(std::uint16_t port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

struct Connection {
    std::array<int, 2> ends{-1, -1}; ///< the client's and the server's
    std::array<std::string, 2> held; ///< read from that end, and not yet passed on
    std::array<bool, 2> ended{}; ///< that end has sent all
    bool dead = false; ///< nothing passes, and nobody is told

    void reset() const
    {
        linger const hard{1, 0};
        for (int const end : ends) {
            ::setsockopt(end, SOL_SOCKET, SO_LINGER, &hard, sizeof hard);
            ::close(end);
        }
    }
};

/// False when the connection has ended.
bool pass(Connection& connection, FaultyProxy::Weather weather, std::mt19937& random)
{
    constexpr std::size_t most = 1 << 16;
    bool const rough = weather == FaultyProxy::Weather::rough;
    for (std::size_t from = 0; from < 2; ++from) {
        auto& held = connection.held[from];
        std::array<char, 4096> bytes{};
        if (held.size() < most && !connection.ended[from]) {
            auto const count = ::recv(connection.ends[from], bytes.data(), bytes.size(), MSG_DONTWAIT);
            if (count < 0 && errno != EAGAIN)
                return false;
            connection.ended[from] = count == 0;
            held.append(bytes.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        }
        if (held.empty() && connection.ended[from])
            ::shutdown(connection.ends[1 - from], SHUT_WR);
        if (held.empty() || (rough && random() % 20 != 0)) // 40 ms on the average
            continue;
        auto const part = rough ? std::min<std::size_t>(held.size(), 1 + random() % 3000) : held.size();
        auto const count = ::send(connection.ends[1 - from], held.data(), part, MSG_DONTWAIT | MSG_NOSIGNAL);
        if (count < 0 && errno != EAGAIN)
            return false;
        held.erase(0, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    return !connection.ended[0] || !connection.ended[1] || !connection.held[0].empty() || !connection.held[1].empty();
}

} // namespace

FaultyProxy::FaultyProxy(std::uint16_t server)
    : m_server(server)
    , m_listener(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0))
{
    auto address = place(0);
    socklen_t length = sizeof address;
    ::bind(m_listener, reinterpret_cast<sockaddr*>(&address), length);
    ::listen(m_listener, 64);
    ::getsockname(m_listener, reinterpret_cast<sockaddr*>(&address), &length);
    m_port = ntohs(address.sin_port);
    m_thread = std::thread([this] { run(); });
}

FaultyProxy::~FaultyProxy()
{
    m_ended = true;
    m_thread.join();
    ::close(m_listener);
}

void FaultyProxy::run()
{
    std::mt19937 random(1);
    std::vector<Connection> connections;
    for (auto before = Weather::fair; !m_ended;) {
        auto const weather = m_weather.load();
        for (auto& connection : connections)
            connection.dead = connection.dead || (weather == Weather::hole && before != Weather::hole);
        before = weather;
        while (true) {
            int const client = ::accept4(m_listener, nullptr, nullptr, SOCK_CLOEXEC);
            if (client < 0)
                break;
            int const server = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
            auto const address = place(m_server);
            Connection connection{{client, server}, {}, {}, false};
            if (::connect(server, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0)
                connections.push_back(std::move(connection));
            else
                connection.reset();
        }
        std::erase_if(connections, [&](Connection& connection) {
            bool const ended = weather == Weather::cut || (!connection.dead && !pass(connection, weather, random));
            if (ended)
                connection.reset();
            return ended;
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(step));
    }
    for (auto const& connection : connections)
        connection.reset();
}

} // namespace lingrelay
