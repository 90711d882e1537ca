#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace lingrelay {

/// Makes sound when an output asks for it.
class AudioRenderer {
public:
    virtual ~AudioRenderer() = default;

    /// Fills `frames` mono samples at the output's rate. Real time: no allocation, no blocking but a short lock.
    virtual void render(float* out, std::size_t frames) = 0;
};

/// A running output. Destroying it stops it; the renderer is not called afterwards. Not for the real-time thread.
class AudioOutput {
public:
    virtual ~AudioOutput() = default;

    /// Samples a second at which the renderer is asked; fixed for the output's life, and above 0.
    virtual double sampleRate() const = 0;
};

/// The machine's outputs.
class AudioOutputs {
public:
    virtual ~AudioOutputs() = default;

    /// Starts pulling from `renderer`, which outlives the output. Null when the device cannot be had. `device` is
    /// the system's id; nothing means the default output, or the first other one while that is the virtual microphone:
    /// what the user is to hear never goes into a call.
    virtual std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t> device, AudioRenderer& renderer) = 0;

    /// Calls `changed` on a thread of its choice whenever the default output changes, while the token lives.
    virtual std::shared_ptr<void> watchDefault(std::function<void()> changed) = 0;
};

} // namespace lingrelay
