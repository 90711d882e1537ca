#pragma once

#include "service/Peer.h"
#include "service/Provider.h"

namespace lingrelay {

/// Serves one synthesis socket with espeak-ng until the client leaves: up to some streams at a time, each with its own
/// errors. The peer has been accepted.
asio::awaitable<void> converseTts(std::shared_ptr<Peer> peer, Provider& provider);

} // namespace lingrelay
