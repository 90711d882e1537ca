#pragma once

#include "base/Result.h"
#include "base/Url.h"

#include <optional>
#include <string>

namespace lingrelay {

/// An HTTP proxy that is asked for tunnels.
struct Proxy {
    std::string host;
    std::uint16_t port = 0;
    std::string credentials; ///< "user:password", decoded; empty when there are none
};

/// The proxies that the environment names, each variable in lower or else in upper case.
struct ProxySettings {
    std::string http; ///< http_proxy: for http and ws
    std::string https; ///< https_proxy: for https and wss
    std::string all; ///< all_proxy: where the other is not set
    std::string except; ///< no_proxy: hosts, domains with all below them, HOST:PORT, or "*"

    static ProxySettings fromEnvironment();

    /// Nothing: connect directly, always so for loopback. A proxy that cannot be used is an error, never a way around
    /// it.
    Result<std::optional<Proxy>> proxyFor(Url const& url) const;
};

} // namespace lingrelay
