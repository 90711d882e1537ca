#pragma once

#include "platform/SoundMuter.h"

#include <functional>
#include <memory>
#include <string>

namespace lingrelay {

/// Silences the captured programs on the local outputs while it runs; main.
class AudioMuter {
public:
    explicit AudioMuter(SoundMuter& muter) : m_muter(muter) { }

    /// A text for the user. Set before the first start.
    std::function<void(std::string const& message)> onError;

    /// A failure ends nothing else: the programs are heard as before.
    void start();
    void stop() { m_silence.reset(); }

private:
    SoundMuter& m_muter;
    std::unique_ptr<SoundMuter::Silence> m_silence;
};

} // namespace lingrelay
