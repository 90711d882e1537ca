#pragma once

#include "base/Json.h"
#include "base/async/Task.h"
#include "platform/Network.h"

#include <optional>
#include <string>

namespace lingrelay {

/// What the program's short HTTP calls share: one retrying request and one user agent text.
class Net {
public:
    explicit Net(Network& network) : m_network(network) { }
    static Net& shared();

    /// Runs the request on the awaiting task's scheduler. A status of 429 or of 500 and above, and a transient failure
    /// of the connection, are tried again up to `retries` times after 0.3 s, 0.6 s, ...; what comes then is returned.
    /// The request's time-outs hold for each attempt anew.
    Task<Result<HttpResponse>> data(HttpRequest request, int retries);

    /// A POST of a JSON object to the backend, with the program's headers. `token` identifies the caller where the
    /// address asks for it in a header.
    static HttpRequest jsonRequest(std::string url, Json const& body, std::optional<std::string> token = {});
    /// Sends such a request; an answer that is not a JSON object counts as an empty one.
    Task<Result<Json>> postJson(std::string url, Json body, int retries);

    static std::string userAgent();

private:
    static bool isTransient(Error const& error);

    Network& m_network;
};

} // namespace lingrelay
