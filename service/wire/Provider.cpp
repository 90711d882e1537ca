#include "service/wire/Provider.h"

#include "service/wire/Peer.h"

namespace lingrelay::service {

bool authorised(Provider& provider, Peer const& peer, Json const& message)
{
    auto const bearer = peer.bearer().value_or("");
    auto const key = jsonString(message, "api_key").value_or("");
    auto const good = [&provider](std::string const& each) { return provider.book.accepts(each, Clock::now()); };
    if (bearer.empty() && key.empty())
        return false;
    return (bearer.empty() || good(bearer)) && (key.empty() || good(key));
}

} // namespace lingrelay::service
