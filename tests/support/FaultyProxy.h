#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

namespace lingrelay {

/// Stands between a client and a server on 127.0.0.1 and does to their connections what networks do. Any thread.
class FaultyProxy {
public:
    enum class Weather {
        fair,
        cut, ///< all connections are reset, new ones as well
        hole, ///< connections stay open, and nothing passes those that are open at this moment; new ones fare well
        rough, ///< bytes come late and in pieces of any size, as after losses and changed order below
    };

    explicit FaultyProxy(std::uint16_t server);
    ~FaultyProxy();
    FaultyProxy(FaultyProxy const&) = delete;
    FaultyProxy& operator=(FaultyProxy const&) = delete;

    std::uint16_t port() const { return m_port; }
    void set(Weather weather) { m_weather = weather; }

private:
    void run();

    std::uint16_t m_server;
    std::uint16_t m_port = 0;
    int m_listener = -1;
    std::atomic<Weather> m_weather = Weather::fair;
    std::atomic<bool> m_ended = false;
    std::thread m_thread;
};

} // namespace lingrelay
