#pragma once

#include "platform/Network.h"

#include <optional>

namespace lingrelay {

/// What keeps a request from being made at all: a URL that is not to be used, or text that would break a header.
/// The same for every implementation of Network. Any thread.
std::optional<Error> requestProblem(WebSocketRequest const& request);
std::optional<Error> requestProblem(HttpRequest const& request);

/// A socket that failed with `error` before there was anything to connect to.
std::shared_ptr<WebSocket> failedSocket(Scheduler& scheduler, Error error);

} // namespace lingrelay
