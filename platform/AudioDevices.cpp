#include "platform/AudioDevices.h"

#include <algorithm>

namespace lingrelay {

std::optional<AudioDevice> AudioDevices::virtualDevice(std::vector<AudioDevice> const& devices)
{
    auto const found = std::find_if(devices.begin(), devices.end(), isVirtual);
    return found == devices.end() ? std::nullopt : std::optional(*found);
}

} // namespace lingrelay
