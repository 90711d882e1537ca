#pragma once

#include "platform/WebSocket.h"

#include <string>
#include <utility>
#include <vector>

namespace lingrelay {

struct HttpRequest {
    std::string method = "POST";
    std::string url; ///< http or https
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;
    Duration timeout = std::chrono::seconds(20); ///< for the whole exchange
    Duration idleTimeout = std::chrono::seconds(8); ///< longest time in which no byte moves either way
};

struct HttpResponse {
    int status = 0;
    std::vector<std::pair<std::string, std::string>> headers; ///< names in lower case
    std::string body;
};

/// Connections to other machines. Certificates and host names are verified; plain ws and http go to loopback only;
/// anything else is an error of kind badUrl. Any thread; completions are posted to the scheduler given.
class Network {
public:
    virtual ~Network() = default;

    /// Never fails inside the call: errors come to the first receive or send.
    virtual std::shared_ptr<WebSocket> connect(WebSocketRequest request, Scheduler& scheduler) = 0;

    /// One exchange, without redirects or cookies. Any status is a response. At most 16 MiB are read.
    virtual void exchange(HttpRequest request, Scheduler& scheduler, std::function<void(Result<HttpResponse>)> done)
        = 0;
};

} // namespace lingrelay
