#pragma once

#include "platform/AudioInput.h"

namespace lingrelay {

/// What the other programs of the machine play, together, and nothing that this program plays; any thread.
class SystemAudio {
public:
    static constexpr double sampleRate = 16000;

    virtual ~SystemAudio() = default;

    /// Mono blocks of any length at `sampleRate`, without a gap: silence comes as samples of 0. Returns at once;
    /// `receiver`, which outlives the input, is told when it has started or why it has not.
    virtual std::unique_ptr<AudioInput> open(AudioReceiver& receiver) = 0;
};

} // namespace lingrelay
