#include "platform/RequestChecks.h"

#include "base/Url.h"
#include "platform/WebSocketLedger.h"

#include <algorithm>

namespace lingrelay {

namespace {

using Kind = WebSocketLedger::Outgoing::Kind;

bool fitsHeader(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return (c >= 0x20 && c != 0x7F) || c == '\t'; });
}

bool isHeaderName(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' || c == '_';
    });
}

std::optional<Error> problem(std::string const& url, bool webSocket, bool headersGood)
{
    if (auto text = urlProblem(url, webSocket); !text.empty())
        return Error{Error::Kind::badUrl, std::move(text)};
    if (!headersGood)
        return Error{Error::Kind::other, "The request holds characters that cannot be sent."};
    return {};
}

class FailedSocket final : public WebSocket {
public:
    FailedSocket(Scheduler& scheduler, Error error) : m_ledger(scheduler, {}, {}) { m_ledger.fail(std::move(error)); }
    ~FailedSocket() override { m_ledger.release(); }

    State state() const override { return m_ledger.state(); }
    void sendText(std::string, Sent sent) override { m_ledger.push({Kind::text, {}, std::move(sent)}); }
    void sendBinary(std::string, Sent sent) override { m_ledger.push({Kind::binary, {}, std::move(sent)}); }
    void receive(Received received) override { m_ledger.receive(std::move(received)); }
    void ping() override { }
    void cancel(int) override { m_ledger.cancel(); }
    std::size_t queuedBytes() const override { return 0; }

private:
    WebSocketLedger m_ledger;
};

} // namespace

std::optional<Error> requestProblem(WebSocketRequest const& request)
{
    return problem(request.url, true, fitsHeader(request.bearer));
}

std::optional<Error> requestProblem(HttpRequest const& request)
{
    return problem(request.url, false,
        isHeaderName(request.method)
            && std::all_of(request.headers.begin(), request.headers.end(),
                [](auto const& header) { return isHeaderName(header.first) && fitsHeader(header.second); }));
}

std::shared_ptr<WebSocket> failedSocket(Scheduler& scheduler, Error error)
{
    return std::make_shared<FailedSocket>(scheduler, std::move(error));
}

} // namespace lingrelay
