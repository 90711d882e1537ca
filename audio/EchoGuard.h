#pragma once

#include "base/async/Scheduler.h"

#include <atomic>
#include <mutex>

namespace lingrelay {

/// Closes the microphone while the program's own speech or the far end is loud. Shared; any thread.
class EchoGuard {
public:
    explicit EchoGuard(Scheduler& clock) : m_clock(clock) { }
    static EchoGuard& shared();

    void setEnabled(bool enabled) { m_enabled = enabled; }

    /// Own speech: `seconds` of audio are pending in a player that the microphone can hear.
    void bump(double seconds);
    /// The far end: the level (0 to 1) of a buffer of system audio.
    void bumpFarEnd(double level);
    /// True when a microphone buffer of this moment must be dropped.
    bool blocks() const;

private:
    void blockFor(double seconds);

    Scheduler& m_clock;
    std::atomic<bool> m_enabled = false;
    mutable std::mutex m_mutex;
    Instant m_blockedUntil = Instant::min();
};

} // namespace lingrelay
