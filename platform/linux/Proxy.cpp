#include "platform/linux/Proxy.h"

#include <algorithm>
#include <cstdlib>
#include <string_view>

#include <fmt/format.h>

namespace lingrelay {

namespace {

std::string variable(std::string name)
{
    if (auto const* value = std::getenv(name.c_str()); value && *value)
        return value;
    std::transform(
        name.begin(), name.end(), name.begin(), [](char c) { return c == '_' ? c : static_cast<char>(c - 'a' + 'A'); });
    auto const* value = std::getenv(name.c_str());
    return value ? value : "";
}

std::string lowered(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
        [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

int hexValue(char c)
{
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string percentDecoded(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        int const high = text[i] == '%' && i + 2 < text.size() ? hexValue(text[i + 1]) : -1;
        int const low = high >= 0 ? hexValue(text[i + 2]) : -1;
        result += low >= 0 ? static_cast<char>(high * 16 + low) : text[i];
        i += low >= 0 ? 2 : 0;
    }
    return result;
}

bool matches(std::string entry, Url const& url)
{
    if (entry == "*")
        return true;
    if (entry.starts_with("*."))
        entry.erase(0, 1);
    auto const port = fmt::format(":{}", url.port);
    if (entry.ends_with(port) && (url.host.find(':') == std::string::npos || entry.ends_with(']' + port)))
        entry.resize(entry.size() - port.size());
    if (entry.starts_with('[') && entry.ends_with(']'))
        entry = entry.substr(1, entry.size() - 2);
    if (entry.starts_with('.'))
        entry.erase(0, 1);
    return !entry.empty() && (url.host == entry || url.host.ends_with('.' + entry));
}

bool excepted(std::string_view list, Url const& url)
{
    while (!list.empty()) {
        auto const end = std::min(list.find_first_of(", \t"), list.size());
        if (matches(lowered(list.substr(0, end)), url))
            return true;
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return false;
}

std::optional<Proxy> parseProxy(std::string_view text)
{
    std::string scheme = "http";
    if (auto const mark = text.find("://"); mark != std::string_view::npos) {
        scheme = lowered(text.substr(0, mark));
        text.remove_prefix(mark + 3);
    }
    if (scheme != "http")
        return {};
    Proxy proxy;
    auto authority = text.substr(0, text.find('/'));
    if (auto const at = authority.rfind('@'); at != std::string_view::npos) {
        proxy.credentials = percentDecoded(authority.substr(0, at));
        authority.remove_prefix(at + 1);
    }
    auto const url = Url::parse(fmt::format("http://{}", authority));
    if (!url)
        return {};
    proxy.host = url->host;
    proxy.port = url->port;
    return proxy;
}

} // namespace

ProxySettings ProxySettings::fromEnvironment()
{
    return {variable("http_proxy"), variable("https_proxy"), variable("all_proxy"), variable("no_proxy")};
}

Result<std::optional<Proxy>> ProxySettings::proxyFor(Url const& url) const
{
    auto const& own = url.secure() ? https : http;
    auto const& text = own.empty() ? all : own;
    if (text.empty() || url.loopback() || excepted(except, url))
        return std::optional<Proxy>();
    auto proxy = parseProxy(text);
    if (!proxy)
        return Error{
            Error::Kind::badUrl, "The proxy that the environment names cannot be used: it must be http://HOST:PORT."};
    return proxy;
}

} // namespace lingrelay
