#include "audio/EchoGuard.h"

#include "base/Registry.h"

#include <algorithm>

namespace lingrelay {

namespace {

constexpr double ownSpeechTail = 0.35;
constexpr double farEndThreshold = 0.12;
constexpr double farEndHold = 0.5;

} // namespace

EchoGuard& EchoGuard::shared() { return Registry::get<EchoGuard>(); }

void EchoGuard::bump(double seconds)
{
    if (m_enabled && seconds > 0)
        blockFor(seconds + ownSpeechTail);
}

void EchoGuard::bumpFarEnd(double level)
{
    if (m_enabled && level >= farEndThreshold)
        blockFor(farEndHold);
}

void EchoGuard::blockFor(double length)
{
    auto const candidate = m_clock.now() + seconds(length);
    std::lock_guard const lock(m_mutex);
    m_blockedUntil = std::max(m_blockedUntil, candidate);
}

bool EchoGuard::blocks() const
{
    if (!m_enabled)
        return false;
    std::lock_guard const lock(m_mutex);
    return m_clock.now() < m_blockedUntil;
}

} // namespace lingrelay
