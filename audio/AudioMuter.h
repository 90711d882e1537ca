#pragma once

#include <functional>
#include <string>

namespace lingrelay {

/// Silences the captured programs on the local outputs while it runs; main.
class AudioMuter {
public:
    virtual ~AudioMuter() = default;

    /// A text for the user; any thread. Set before the first start.
    std::function<void(std::string const& message)> onError;

    virtual void start() = 0;
    virtual void stop() = 0;
};

} // namespace lingrelay
