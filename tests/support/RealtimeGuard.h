#pragma once

namespace lingrelay {

/// While one lives, this thread is a realtime thread: malloc, free and blocking locks made by it
/// are counted as violations. try_lock and atomics are allowed. Under sanitizers nothing is counted.
class RealtimeGuard {
public:
    RealtimeGuard();
    ~RealtimeGuard();
    RealtimeGuard(RealtimeGuard const&) = delete;
    RealtimeGuard& operator=(RealtimeGuard const&) = delete;

    /// Violations on this thread since the guard was made; the first one's name, for the message.
    int violations() const;
    char const* first() const;
};

} // namespace lingrelay
