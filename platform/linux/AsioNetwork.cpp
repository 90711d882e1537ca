#include "platform/linux/AsioNetwork.h"

#include "base/Url.h"
#include "platform/RequestChecks.h"
#include "platform/linux/AsioScheduler.h"
#include "platform/linux/NetworkParts.h"

namespace lingrelay {

NetworkParts::Goodbye::Goodbye(std::shared_ptr<NetworkParts> parts) : m_parts(std::move(parts))
{
    std::lock_guard const lock(m_parts->m_mutex);
    ++m_parts->m_goodbyes;
}

NetworkParts::Goodbye::~Goodbye()
{
    if (!m_parts)
        return;
    std::lock_guard const lock(m_parts->m_mutex);
    --m_parts->m_goodbyes;
    m_parts->m_changed.notify_all();
}

void NetworkParts::waitForGoodbyes(Duration limit)
{
    std::unique_lock lock(m_mutex);
    m_changed.wait_for(lock, limit, [this] { return m_goodbyes == 0; });
}

void NetworkParts::post(Scheduler& scheduler, Scheduler::Job job)
{
    std::lock_guard const lock(m_mutex);
    if (!m_ended)
        scheduler.post(std::move(job));
}

void NetworkParts::end()
{
    std::lock_guard const lock(m_mutex);
    m_ended = true;
}

AsioNetwork::AsioNetwork(AsioRuntime& runtime) : m_parts(std::make_shared<NetworkParts>(runtime)) { }

AsioNetwork::~AsioNetwork()
{
    m_parts->end();
    if (m_parts->runtime.running())
        m_parts->waitForGoodbyes(std::chrono::milliseconds(2200));
}

std::shared_ptr<WebSocket> AsioNetwork::connect(WebSocketRequest request, Scheduler& scheduler)
{
    if (auto error = requestProblem(request))
        return failedSocket(scheduler, std::move(*error));
    auto const url = *Url::parse(request.url);
    return connectWebSocket(m_parts, std::move(request), url, scheduler);
}

void AsioNetwork::exchange(HttpRequest request, Scheduler& scheduler, std::function<void(Result<HttpResponse>)> done)
{
    if (auto error = requestProblem(request)) {
        scheduler.post([done = std::move(done), error = std::move(*error)] { done(error); });
        return;
    }
    auto const url = *Url::parse(request.url);
    exchangeHttp(m_parts, std::move(request), url, scheduler, std::move(done));
}

} // namespace lingrelay
