#pragma once

#include "service/wire/Peer.h"
#include "service/wire/Provider.h"

namespace lingrelay::service {

/// Serves one recognition stream with the offline engines, until it ends or fails. The peer has been accepted.
asio::awaitable<void> converseStt(std::shared_ptr<Peer> peer, Provider& provider);

} // namespace lingrelay::service
