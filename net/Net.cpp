#include "net/Net.h"

#include "base/Registry.h"
#include "base/async/OneShot.h"

namespace lingrelay {

Net& Net::shared() { return Registry::get<Net>(); }

std::string Net::userAgent() { return "LingrelayPro/" LINGRELAY_VERSION " (Linux)"; }

bool Net::isTransient(Error const& error)
{
    switch (error.kind) {
    case Error::Kind::timedOut:
    case Error::Kind::networkConnectionLost:
    case Error::Kind::notConnectedToInternet:
    case Error::Kind::cannotConnectToHost:
    case Error::Kind::dnsLookupFailed:
    case Error::Kind::cannotFindHost:
    case Error::Kind::resourceUnavailable:
    case Error::Kind::secureConnectionFailed:
        return true;
    case Error::Kind::other:
    case Error::Kind::cancelled:
    case Error::Kind::badUrl:
    case Error::Kind::badServerResponse:
        return false;
    }
    return false;
}

Task<Result<HttpResponse>> Net::data(HttpRequest request, int retries)
{
    auto& scheduler = (co_await CurrentScope{}).scheduler();
    for (int attempt = 0;; ++attempt) {
        OneShot<Result<HttpResponse>> answer;
        m_network.exchange(
            request, scheduler, [answer](Result<HttpResponse> result) { answer.set(std::move(result)); });
        auto result = co_await answer.take();
        bool const again = result ? result->status >= 500 || result->status == 429 : isTransient(result.error());
        if (!again || attempt >= retries)
            co_return result;
        co_await sleep(seconds((attempt + 1) * 0.3));
    }
}

HttpRequest Net::jsonRequest(std::string url, Json const& body, std::optional<std::string> token)
{
    HttpRequest request;
    request.url = std::move(url);
    request.headers = {{"Content-Type", "application/json"}, {"User-Agent", userAgent()}};
    if (token)
        request.headers.emplace_back("Authorization", "Bearer " + *token);
    request.body = jsonText(body);
    return request;
}

Task<Result<Json>> Net::postJson(std::string url, Json body, int retries)
{
    auto const response = co_await data(jsonRequest(std::move(url), body), retries);
    if (!response)
        co_return response.error();
    auto answer = parseJson(response->body);
    co_return answer && answer->is_object() ? std::move(*answer) : Json::object();
}

} // namespace lingrelay
