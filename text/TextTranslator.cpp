#include "text/TextTranslator.h"

#include "base/Text.h"
#include "base/Url.h"
#include "config/Hosts.h"
#include "config/L10n.h"
#include "net/Net.h"

namespace lingrelay {

namespace {

constexpr Duration backendTimeout = seconds(20.0);
/// The user waits for the text: both roads together take no longer.
constexpr Duration longestWait = seconds(30.0);

HttpRequest backendRequest(std::string const& text, std::string const& target, std::string const& token)
{
    auto request = Net::jsonRequest(Hosts::shared().backend + "/v1/translate",
        {{"texts", {text}}, {"target", target}, {"model", "deepseek"}}, token);
    request.timeout = request.idleTimeout = backendTimeout;
    return request;
}

/// What the backend translated; empty when it did not.
std::string viaBackend(Result<HttpResponse> const& response)
{
    if (!response || response->status != 200)
        return {};
    auto const body = parseJson(response->body).value_or(Json());
    auto const* texts = jsonMember(body, "texts");
    bool const found = texts && texts->is_array() && !texts->empty() && texts->front().is_string();
    return found ? withoutControls(texts->front().get_ref<std::string const&>(), Breaks::kept) : std::string();
}

HttpRequest publicRequest(std::string const& text, std::string const& from, std::string const& to)
{
    HttpRequest request;
    request.method = "GET";
    request.url = fmt::format("{}/translate_a/single?client=gtx&sl={}&tl={}&dt=t&q={}", Hosts::shared().translate,
        percentEncoded(from.empty() ? "auto" : from), percentEncoded(to), percentEncoded(text));
    return request;
}

Error failure(int status)
{
    auto message = status == 429 ? T("Free translation is being used too much right now. Try again in a few minutes.",
                       "Dịch miễn phí đang bị giới hạn lượt dùng. Vui lòng thử lại sau vài phút.")
                                 : fmt::format("{}{}).", T("Translation failed (", "Dịch thất bại ("), status);
    return {Error::Kind::other, std::move(message), status};
}

Result<std::string> viaPublicService(HttpResponse const& response)
{
    if (response.status != 200)
        return failure(response.status);
    auto const body = parseJson(response.body);
    if (!body)
        return Error{Error::Kind::badServerResponse, "the answer is not JSON"};
    std::string text;
    if (!body->is_array() || body->empty() || !body->front().is_array())
        return text;
    for (auto const& segment : body->front()) {
        if (segment.is_array() && !segment.empty() && segment.front().is_string())
            text += segment.front().get_ref<std::string const&>();
    }
    return withoutControls(text, Breaks::kept);
}

} // namespace

Task<Result<std::string>> TextTranslator::translate(
    std::string text, std::string from, std::string to, std::string token)
{
    std::string const trimmed(trimWhitespace(text));
    if (trimmed.empty())
        co_return std::string();
    auto& scheduler = (co_await CurrentScope{}).scheduler();
    auto const end = scheduler.now() + longestWait;
    auto const hosted = co_await Net::shared().data(backendRequest(trimmed, to, token), 0);
    if (auto translated = viaBackend(hosted); !translated.empty())
        co_return translated;
    if (Hosts::shared().translate.empty())
        co_return Error{Error::Kind::other,
            T("Translation failed: this service cannot translate it, and no other is set.",
                "Dịch thất bại: dịch vụ này không dịch được, và chưa đặt dịch vụ nào khác.")};
    auto const answer
        = co_await withTimeout(end - scheduler.now(), Net::shared().data(publicRequest(trimmed, from, to), 1));
    if (!answer)
        co_return Error{Error::Kind::timedOut, T("The service did not answer in time.", "Dịch vụ không trả lời kịp.")};
    if (!*answer)
        co_return answer->error();
    co_return viaPublicService(**answer);
}

} // namespace lingrelay
