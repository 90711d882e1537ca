#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace lingrelay {

/// Where a direction's sound comes from. Made once, started and stopped on main; never restarts itself.
class AudioSource {
public:
    static constexpr std::int64_t sampleRate = 16000;

    virtual ~AudioSource() = default;

    /// Mono, 16-bit little-endian PCM at `sampleRate` in blocks of any length; on a thread of the source.
    /// `sent`, when there is one, is called once the block was handed to the network. Set before the first start.
    std::function<void(std::string pcm, std::function<void()> sent)> onPCM;
    /// A text for the user, in their language; any thread. Set before the first start.
    std::function<void(std::string const& message)> onError;
    /// What `onError` told of last has passed. Likewise.
    std::function<void()> onRecovered;

    virtual void start() = 0;
    virtual void stop() = 0;
};

/// The user's voice.
class Microphone : public AudioSource {
public:
    /// A block of sound was held back, because the microphone is muted or hears a translation; on the thread of
    /// `onPCM`. Set before the first start.
    std::function<void()> onHeldBack;

    /// Nothing means the system's default. A microphone that runs, or that could not be started, goes over to the new
    /// device at once.
    virtual void setInputDevice(std::optional<std::uint32_t> device) = 0;
    /// A muted microphone goes on running and hands over nothing.
    virtual void setMuted(bool muted) = 0;
};

} // namespace lingrelay
