#include "base/Url.h"

#include <algorithm>
#include <charconv>

#include <arpa/inet.h>
#include <fmt/format.h>

namespace lingrelay {

namespace {

std::uint16_t defaultPort(std::string_view scheme) { return scheme == "wss" || scheme == "https" ? 443 : 80; }

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), lower);
    return result;
}

bool isHostName(std::string_view host)
{
    return !host.empty() && host.size() <= 253 && host.front() != '.' && host.front() != '-'
        && std::all_of(host.begin(), host.end(), [](char c) {
               return (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '.' || c == '-' || c == '_';
           });
}

bool isAddress6(std::string const& host)
{
    in6_addr address{};
    return inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

} // namespace

bool Url::loopback() const
{
    if (host == "localhost")
        return true;
    in_addr address{};
    if (inet_pton(AF_INET, host.c_str(), &address) == 1)
        return (ntohl(address.s_addr) >> 24) == 127;
    in6_addr address6{};
    return inet_pton(AF_INET6, host.c_str(), &address6) == 1 && IN6_IS_ADDR_LOOPBACK(&address6);
}

std::string Url::authority() const
{
    auto const name = host.find(':') == std::string::npos ? host : '[' + host + ']';
    return port == defaultPort(scheme) ? name : fmt::format("{}:{}", name, port);
}

std::string Url::text() const { return scheme + "://" + authority() + target; }

std::optional<Url> Url::parse(std::string_view text)
{
    if (std::any_of(text.begin(), text.end(), [](unsigned char c) { return c <= 0x20 || c >= 0x7F || c == '\\'; }))
        return {};
    auto const mark = text.find("://");
    if (mark == std::string_view::npos)
        return {};
    Url url;
    url.scheme = lowered(text.substr(0, mark));
    if (url.scheme != "ws" && url.scheme != "wss" && url.scheme != "http" && url.scheme != "https")
        return {};
    text.remove_prefix(mark + 3);

    auto const end = std::min(text.find_first_of("/?#"), text.size());
    auto authority = text.substr(0, end);
    url.target = text.substr(end);
    if (authority.find('@') != std::string_view::npos || url.target.find('#') != std::string::npos)
        return {};
    if (!url.target.empty() && url.target.front() == '?')
        url.target.insert(0, 1, '/');

    std::string_view portText;
    bool hasPort = false;
    if (!authority.empty() && authority.front() == '[') {
        auto const close = authority.find(']');
        if (close == std::string_view::npos)
            return {};
        url.host = lowered(authority.substr(1, close - 1));
        authority.remove_prefix(close + 1);
        if (!isAddress6(url.host) || (!authority.empty() && authority.front() != ':'))
            return {};
        hasPort = !authority.empty();
        portText = hasPort ? authority.substr(1) : std::string_view();
    } else {
        auto const colon = authority.find(':');
        hasPort = colon != std::string_view::npos;
        url.host = lowered(authority.substr(0, colon));
        portText = hasPort ? authority.substr(colon + 1) : std::string_view();
        if (!isHostName(url.host))
            return {};
    }

    url.port = defaultPort(url.scheme);
    if (hasPort) {
        auto const [stop, error] = std::from_chars(portText.data(), portText.data() + portText.size(), url.port);
        if (error != std::errc() || stop != portText.data() + portText.size() || url.port == 0)
            return {};
    }
    return url;
}

std::string urlProblem(std::string_view text, bool webSocket)
{
    auto const url = Url::parse(text);
    if (!url)
        return fmt::format("\"{}\" is not a usable address", text);
    if (url->webSocket() != webSocket)
        return fmt::format("\"{}\" must begin with {}", text, webSocket ? "wss://" : "https://");
    if (!url->secure() && !url->loopback())
        return fmt::format("\"{}\" is not encrypted: use {} (plain {} goes to this machine only)", text,
            webSocket ? "wss://" : "https://", webSocket ? "ws://" : "http://");
    return {};
}

std::string percentEncoded(std::string_view text)
{
    std::string encoded;
    for (unsigned char const c : text) {
        bool const plain = (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-'
            || c == '.' || c == '_' || c == '~';
        encoded += plain ? std::string(1, static_cast<char>(c)) : fmt::format("%{:02X}", c);
    }
    return encoded;
}

} // namespace lingrelay
