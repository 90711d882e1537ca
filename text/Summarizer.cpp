#include "text/Summarizer.h"

#include "base/Text.h"
#include "config/Hosts.h"
#include "config/L10n.h"
#include "net/Net.h"

namespace lingrelay {

namespace {

constexpr std::size_t mostCharacters = 24000;
constexpr Duration timeout = seconds(90.0);

std::string lastCharacters(std::string_view text)
{
    CharacterText characters;
    characters.append(text);
    characters.keepLast(mostCharacters);
    return std::string(characters.text());
}

HttpRequest summaryRequest(
    std::string_view text, std::string const& target, std::string const& token, std::string const& style)
{
    auto request = Net::jsonRequest(Hosts::shared().backend + "/v1/summary",
        {{"text", lastCharacters(text)}, {"target", target}, {"style", style}}, token);
    request.timeout = request.idleTimeout = timeout;
    return request;
}

Result<std::string> summaryOf(HttpResponse const& response)
{
    auto const body = parseJson(response.body).value_or(Json());
    if (auto summary = jsonString(body, "summary"); summary && response.status == 200)
        return withoutControls(*summary, Breaks::kept);
    auto message = jsonString(body, "error");
    if (!message)
        message = T("Server error ", "Lỗi máy chủ ") + std::to_string(response.status);
    return Error{Error::Kind::other, withoutControls(*message, Breaks::blanks), response.status};
}

} // namespace

Task<Result<std::string>> Summarizer::summarize(
    std::string text, std::string target, std::string token, std::string style)
{
    auto const trimmed = trimWhitespace(text);
    if (trimmed.empty())
        co_return std::string();
    auto const response = co_await Net::shared().data(summaryRequest(trimmed, target, token, style), 0);
    if (!response)
        co_return response.error();
    co_return summaryOf(*response);
}

} // namespace lingrelay
