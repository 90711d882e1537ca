#include "platform/linux/pipewire/StreamHolds.h"

namespace lingrelay {

namespace {

constexpr Duration holdTime = seconds(0.3); ///< usually 20 ms

} // namespace

void StreamHolds::hold(std::uint32_t stream) { m_until[stream] = Clock::now() + holdTime; }

bool StreamHolds::held(std::uint32_t stream) const
{
    auto const found = m_until.find(stream);
    return found != m_until.end() && Clock::now() < found->second;
}

} // namespace lingrelay
