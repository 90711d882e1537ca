#pragma once

#include "base/Result.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>

namespace lingrelay {

struct AudioFormat {
    double sampleRate = 0;
    int channels = 0;

    bool operator==(AudioFormat const&) const = default;
};

/// Takes the sound of an input. One call at a time, on a thread of the input's that may take locks and allocate, but
/// must not wait for others: sound that is not fetched in time is lost.
class AudioReceiver {
public:
    virtual ~AudioReceiver() = default;

    /// Interleaved samples, full scale is 1.
    virtual void receive(std::span<float const> samples) = 0;
    /// Sound begins to come, for the first time or again.
    virtual void started() = 0;
    /// Nothing comes any more, or nothing could be started; the message is the system's own, for the user. The input
    /// goes on trying by itself.
    virtual void failed(Error const& error) = 0;
};

/// A running input. Destroying it stops it; the receiver is not called afterwards. Not to be destroyed in a call of
/// its receiver.
class AudioInput {
public:
    virtual ~AudioInput() = default;
};

/// The machine's microphones and other inputs; any thread.
class AudioInputs {
public:
    virtual ~AudioInputs() = default;

    /// What a device delivers. `device` is the system's id; nothing means the default input of the moment, unless that
    /// is the virtual microphone. Nothing comes back for a device that cannot be had.
    virtual std::optional<AudioFormat> format(std::optional<std::uint32_t> device) = 0;
    /// Blocks of exactly `blockFrames` frames in `format` go to `receiver`, which outlives the input. An input of a
    /// device stays with it: one that vanishes is silent until it is back.
    virtual Result<std::unique_ptr<AudioInput>> open(
        std::optional<std::uint32_t> device, AudioFormat format, std::size_t blockFrames, AudioReceiver& receiver)
        = 0;
    /// Calls `changed` on a thread of its choice whenever the default input changes, while the token lives.
    virtual std::shared_ptr<void> watchDefault(std::function<void()> changed) = 0;
};

} // namespace lingrelay
