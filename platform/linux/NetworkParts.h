#pragma once

#include "platform/Network.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/linux/Dial.h"

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

#include <boost/asio/io_context.hpp>

namespace lingrelay {

/// What the connections of one network share. Any thread.
struct NetworkParts {
    explicit NetworkParts(AsioRuntime& served) : runtime(served) { }

    AsioRuntime& runtime;
    boost::asio::io_context& context = runtime.context();
    std::unique_ptr<Scheduler> const scheduler = runtime.makeScheduler(); ///< on the thread of the sockets
    ProxySettings const proxies = ProxySettings::fromEnvironment();
    TlsSettings tls;

    /// Cancelled sockets that still write.
    class Goodbye {
    public:
        explicit Goodbye(std::shared_ptr<NetworkParts> parts);
        Goodbye(Goodbye&&) = default;
        ~Goodbye();

    private:
        std::shared_ptr<NetworkParts> m_parts;
    };
    void waitForGoodbyes(Duration limit);

    /// Posts to a scheduler unless the network has ended, when the scheduler may be gone.
    void post(Scheduler& scheduler, Scheduler::Job job);
    void end();

private:
    std::mutex m_mutex;
    std::condition_variable m_changed;
    int m_goodbyes = 0;
    bool m_ended = false;
};

/// Both take a URL that was found usable.
std::shared_ptr<WebSocket> connectWebSocket(
    std::shared_ptr<NetworkParts> parts, WebSocketRequest request, Url const& url, Scheduler& scheduler);
void exchangeHttp(std::shared_ptr<NetworkParts> parts, HttpRequest request, Url const& url, Scheduler& scheduler,
    std::function<void(Result<HttpResponse>)> done);

} // namespace lingrelay
