#pragma once

#include "service/Peer.h"
#include "service/Provider.h"

namespace lingrelay {

/// Serves one recognition stream with the offline engines, until it ends or fails. The peer has been accepted.
asio::awaitable<void> converseStt(std::shared_ptr<Peer> peer, Provider& provider);

} // namespace lingrelay
