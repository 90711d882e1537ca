#include "tests/support/RoughLink.h"

#include "base/Time.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <queue>
#include <utility>

#include <arpa/inet.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace lingrelay {

namespace {

constexpr auto device = "wire";
constexpr std::array<char const*, 2> addresses{"127.0.0.2", "127.0.0.1"}; ///< of the client and the server
constexpr std::size_t longestPacket = 1500;

bool put(char const* path, std::string const& text)
{
    int const file = ::open(path, O_WRONLY | O_CLOEXEC);
    if (file < 0)
        return false;
    bool const done = ::write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    ::close(file);
    return done;
}

ifreq named(char const* address = nullptr)
{
    ifreq request{};
    std::strncpy(request.ifr_name, device, IFNAMSIZ - 1);
    if (address) {
        auto& place = reinterpret_cast<sockaddr_in&>(request.ifr_addr);
        place.sin_family = AF_INET;
        ::inet_pton(AF_INET, address, &place.sin_addr);
    }
    return request;
}

/// In a child: a namespace with one end of the wire. Its descriptor; negative when `step` was not allowed.
int makeHost(std::size_t host, char const*& step)
{
    auto const user = ::geteuid();
    auto const group = ::getegid();
    step = "no user and network namespaces";
    if (::unshare(CLONE_NEWUSER | CLONE_NEWNET) != 0)
        return -1;
    put("/proc/self/setgroups", "deny");
    if (!put("/proc/self/uid_map", fmt::format("0 {} 1", user))
        || !put("/proc/self/gid_map", fmt::format("0 {} 1", group)))
        return -1;
    step = "no /dev/net/tun";
    int const wire = ::open("/dev/net/tun", O_RDWR | O_CLOEXEC | O_NONBLOCK);
    auto request = named();
    request.ifr_flags = IFF_TUN | IFF_NO_PI;
    if (wire < 0 || ::ioctl(wire, TUNSETIFF, &request) != 0)
        return -1;
    // The loopback device stays down, so that these addresses are the wire's alone.
    step = "no loopback addresses on a wire";
    if (!put("/proc/sys/net/ipv4/conf/all/route_localnet", "1"))
        return -1;
    int const any = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    auto own = named(addresses[host]);
    auto other = named(addresses[1 - host]);
    request.ifr_flags = IFF_UP | IFF_RUNNING;
    bool const done = ::ioctl(any, SIOCSIFADDR, &own) == 0 && ::ioctl(any, SIOCSIFDSTADDR, &other) == 0
        && ::ioctl(any, SIOCSIFFLAGS, &request) == 0;
    ::close(any);
    return done ? wire : -1;
}

/// One byte, and the descriptor with it when there is one.
void give(int channel, int descriptor)
{
    char byte = descriptor >= 0;
    iovec data{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    if (descriptor >= 0) {
        message.msg_control = control.data();
        message.msg_controllen = control.size();
        auto* const header = CMSG_FIRSTHDR(&message);
        header->cmsg_level = SOL_SOCKET;
        header->cmsg_type = SCM_RIGHTS;
        header->cmsg_len = CMSG_LEN(sizeof(int));
        std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    }
    ::sendmsg(channel, &message, MSG_NOSIGNAL);
}

int take(int channel)
{
    char byte = 0;
    iovec data{&byte, 1};
    alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof(int))> control{};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control.data();
    message.msg_controllen = control.size();
    int descriptor = -1;
    if (::recvmsg(channel, &message, MSG_CMSG_CLOEXEC) == 1) {
        if (auto* const header = CMSG_FIRSTHDR(&message))
            std::memcpy(&descriptor, CMSG_DATA(header), sizeof descriptor);
    }
    return descriptor;
}

} // namespace

struct RoughLink::Packet {
    Instant due;
    std::size_t number;
    std::size_t to;
    std::string bytes;

    bool operator<(Packet const& other) const // the first one is the greatest
    {
        return std::pair(due, number) > std::pair(other.due, other.number);
    }
};

RoughLink::Place RoughLink::settle(Host host, std::string& why)
{
    int ends[2];
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0)
        return {};
    Place place;
    place.process = ::fork();
    if (place.process == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::close(ends[0]);
        char const* step = nullptr;
        int const wire = makeHost(static_cast<std::size_t>(host), step);
        give(ends[1], wire);
        auto const reason = fmt::format("{}: {}", step, std::strerror(errno));
        if (wire < 0) {
            ::send(ends[1], reason.data(), reason.size(), MSG_NOSIGNAL);
            ::_exit(1);
        }
        ::close(wire);
        while (true)
            ::pause();
    }
    ::close(ends[1]);
    place.wire = take(ends[0]);
    if (place.wire < 0) {
        std::array<char, 200> text{};
        auto const count = ::recv(ends[0], text.data(), text.size(), 0);
        why.assign(text.data(), static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    }
    ::close(ends[0]);
    return place;
}

std::unique_ptr<RoughLink> RoughLink::make(std::string& why)
{
    std::unique_ptr<RoughLink> link(new RoughLink);
    for (auto const host : {Host::client, Host::server}) {
        auto& place = link->m_places[static_cast<std::size_t>(host)];
        place = settle(host, why);
        if (place.wire < 0)
            return nullptr;
    }
    link->m_thread = std::thread([link = link.get()] { link->run(); });
    return link;
}

RoughLink::~RoughLink()
{
    m_ended = true;
    if (m_thread.joinable())
        m_thread.join();
    for (auto const& [process, wire] : m_places) {
        if (wire >= 0)
            ::close(wire);
        if (process > 0) {
            ::kill(process, SIGKILL);
            ::waitpid(process, nullptr, 0);
        }
    }
}

std::vector<std::string> RoughLink::on(Host host) const
{
    auto const process = m_places[static_cast<std::size_t>(host)].process;
    return {"/usr/bin/nsenter", "-t", std::to_string(process), "-U", "-n", "--preserve-credentials"};
}

void RoughLink::set(Weather const& weather)
{
    std::lock_guard const lock(m_mutex);
    m_weather = weather;
}

RoughLink::Seen RoughLink::seen() const
{
    std::lock_guard const lock(m_mutex);
    return m_seen;
}

void RoughLink::run()
{
    std::mt19937 random(1);
    std::uniform_real_distribution<double> chance(0, 1);
    std::priority_queue<Packet> flying;
    std::array<Instant, 2> free{}; ///< when a slow wire has passed on what it has, each way
    std::array<std::size_t, 2> newest{};
    std::size_t number = 0;

    auto const accept = [&](std::size_t to, std::string bytes) {
        auto const now = Clock::now();
        auto due = now;
        if (m_weather.bytesPerSecond > 0) {
            free[to] = std::max(free[to], now);
            if (toSeconds(free[to] - now) * m_weather.bytesPerSecond > static_cast<double>(m_weather.queue))
                return false;
            free[to] += seconds(static_cast<double>(bytes.size()) / m_weather.bytesPerSecond);
            due = free[to];
        }
        if (m_weather.cut || chance(random) < m_weather.loss)
            return false;
        if (chance(random) >= m_weather.overtaking)
            due += seconds(std::max(0.0, m_weather.delay + m_weather.jitter * (2 * chance(random) - 1)));
        flying.push({due, ++number, to, std::move(bytes)});
        return true;
    };
    while (!m_ended) {
        auto const wait = flying.empty() ? seconds(0.02) : std::min(flying.top().due - Clock::now(), seconds(0.02));
        auto const nanoseconds = std::chrono::duration_cast<std::chrono::nanoseconds>(wait).count();
        timespec const limit{0, std::max<long>(nanoseconds, 0)};
        std::array<pollfd, 2> ends{pollfd{m_places[0].wire, POLLIN, 0}, pollfd{m_places[1].wire, POLLIN, 0}};
        ::ppoll(ends.data(), ends.size(), &limit, nullptr);
        std::lock_guard const lock(m_mutex);
        for (std::size_t from = 0; from < 2; ++from) {
            std::array<char, longestPacket> bytes{};
            for (ssize_t count = 0; (count = ::read(m_places[from].wire, bytes.data(), bytes.size())) > 0;)
                m_seen.lost += !accept(1 - from, std::string(bytes.data(), static_cast<std::size_t>(count)));
        }
        for (; !flying.empty() && flying.top().due <= Clock::now(); flying.pop()) {
            auto const& packet = flying.top();
            if (m_weather.cut) {
                ++m_seen.lost;
                continue;
            }
            ::write(m_places[packet.to].wire, packet.bytes.data(), packet.bytes.size());
            ++m_seen.passed;
            m_seen.overtook += packet.number < newest[packet.to];
            newest[packet.to] = std::max(newest[packet.to], packet.number);
        }
    }
}

} // namespace lingrelay
