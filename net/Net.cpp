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
    auto const deadline = scheduler.now() + request.timeout;
    for (int attempt = 0;; ++attempt) {
        request.timeout = deadline - scheduler.now();
        OneShot<Result<HttpResponse>> answer;
        m_network.exchange(
            request, scheduler, [answer](Result<HttpResponse> result) { answer.set(std::move(result)); });
        auto result = co_await answer.take();
        bool const again = result ? result->status >= 500 || result->status == 429 : isTransient(result.error());
        auto const pause = seconds((attempt + 1) * 0.3);
        if (!again || attempt >= retries || scheduler.now() + pause >= deadline)
            co_return result;
        co_await sleep(pause);
    }
}

Task<Result<Json>> Net::postJson(std::string url, Json body, Duration timeout, int retries)
{
    HttpRequest request;
    request.url = std::move(url);
    request.headers = {{"Content-Type", "application/json"}, {"User-Agent", userAgent()}};
    request.body = jsonText(body);
    request.timeout = timeout;
    auto const response = co_await data(std::move(request), retries);
    if (!response)
        co_return response.error();
    auto answer = parseJson(response->body);
    co_return answer && answer->is_object() ? std::move(*answer) : Json::object();
}

} // namespace lingrelay
