#pragma once

#include "service/wire/Peer.h"
#include "service/wire/Provider.h"

namespace lingrelay::service {

/// Serves one synthesis socket with espeak-ng until the client leaves: up to some streams at a time, each with its own
/// errors. The peer has been accepted.
asio::awaitable<void> converseTts(std::shared_ptr<Peer> peer, Provider& provider);

} // namespace lingrelay::service
