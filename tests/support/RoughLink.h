#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include <sys/types.h>

namespace lingrelay {

/// Two hosts, each a network namespace of its own, and a wire between them that loses packets, lets some overtake
/// others, is slow, or is cut. On it runs the system's own TCP. What the server has on 127.0.0.1 is there for the
/// client, too. Any thread.
class RoughLink {
public:
    enum class Host : unsigned char { client, server };
    struct Weather {
        double delay = 0; ///< seconds, each way
        double jitter = 0; ///< more or less than `delay`; one packet's is not the next one's
        double loss = 0; ///< of all packets, 0 to 1
        double overtaking = 0; ///< likewise: what is not delayed at all
        double bytesPerSecond = 0; ///< 0: any number
        std::size_t queue = 64 << 10; ///< bytes that wait for a slow wire; more are lost
        bool cut = false;
    };
    struct Seen {
        std::size_t passed = 0;
        std::size_t lost = 0;
        std::size_t overtook = 0; ///< came out before one that went in earlier
    };

    /// Nothing where the system does not allow it, nor under the thread sanitizer, whose own thread forbids a namespace
    /// of users; `why` says what.
    static std::unique_ptr<RoughLink> make(std::string& why);
    ~RoughLink();
    RoughLink(RoughLink const&) = delete;
    RoughLink& operator=(RoughLink const&) = delete;

    /// What stands before the words of a program that is to run there.
    std::vector<std::string> on(Host host) const;
    void set(Weather const& weather);
    Seen seen() const;

private:
    struct Packet;
    struct Place {
        pid_t process = -1; ///< holds the namespace
        int wire = -1;
    };
    RoughLink() = default;
    static Place settle(Host host, std::string& why);
    void run();

    std::array<Place, 2> m_places;
    mutable std::mutex m_mutex;
    Weather m_weather;
    Seen m_seen;
    std::atomic<bool> m_ended = false;
    std::thread m_thread;
};

} // namespace lingrelay
