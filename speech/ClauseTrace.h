#pragma once

#include <functional>
#include <string_view>

namespace lingrelay {

/// Told when clause `seq` of a direction passes a hop: "final", "delivered", "enqueued", "sent", "firstAudio",
/// "playing", "spoken", "skipped", "failed". The receiver takes the time. Any thread.
using ClauseTrace = std::function<void(int seq, std::string_view hop)>;

} // namespace lingrelay
