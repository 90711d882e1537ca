#pragma once

#include "platform/Network.h"

#include <memory>

namespace lingrelay {

class AsioRuntime;

/// Network on the thread of a runtime, which outlives it. Proxies and certificate files are those of the environment
/// at the time it is made. Sockets may outlive it, but not the runtime.
///
/// Its end waits for cancelled sockets to say goodbye, about two seconds at most, while the runtime runs (not on its
/// thread); exchanges that run then end untold.
class AsioNetwork final : public Network {
public:
    explicit AsioNetwork(AsioRuntime& runtime);
    ~AsioNetwork() override;

    std::shared_ptr<WebSocket> connect(WebSocketRequest request, Scheduler& scheduler) override;
    void exchange(HttpRequest request, Scheduler& scheduler, std::function<void(Result<HttpResponse>)> done) override;

private:
    std::shared_ptr<struct NetworkParts> m_parts;
};

} // namespace lingrelay
