#pragma once

#include "service/script/Recorder.h"
#include "service/script/Script.h"
#include "service/wire/Peer.h"
#include "service/wire/Provider.h"

namespace lingrelay::service {

/// How much of a connection has been received, which is what steps wait for.
struct ScriptState {
    double sinceFirstMs = 0; ///< since the first message
    std::int64_t bytes = 0; ///< of binary frames
    double audioMs = 0;
    int texts = 0;
    bool ended = false;
};

/// Whether the step's trigger has come. A step without one follows at once, but not before the first message.
bool triggered(ScriptStep const& step, ScriptState const& state);

/// The frame with the placeholders of the conversation filled in: "$stream_id" becomes the id of the last message.
std::string filledIn(std::string text, std::string const& streamId);

/// Plays the steps of one accepted connection, then listens until the client leaves. `name` ("stt#0") marks its lines
/// in the record.
asio::awaitable<void> playScript(std::shared_ptr<Peer> peer, ScriptConnection const& connection, std::string name,
    Provider& provider, Recorder& recorder);

} // namespace lingrelay::service
