#pragma once

namespace lingrelay {

/// How a sound file is fed: as fast as it plays, or as fast as the provider takes it.
enum class Pace { realtime, fast };

} // namespace lingrelay
