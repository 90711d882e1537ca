#pragma once

#include "service/script/Recorder.h"
#include "service/script/Script.h"
#include "service/wire/Peer.h"
#include "service/wire/Provider.h"

namespace lingrelay::service {

/// Plays the steps of one accepted connection, then listens until the client leaves. `name` ("stt#0") marks its lines
/// in the record.
asio::awaitable<void> playScript(std::shared_ptr<Peer> peer, ScriptConnection const& connection, std::string name,
    Provider& provider, Recorder& recorder);

} // namespace lingrelay::service
