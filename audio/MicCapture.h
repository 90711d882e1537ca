#pragma once

#include "audio/AudioSource.h"
#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "platform/AudioInput.h"

#include <atomic>
#include <memory>
#include <optional>

namespace lingrelay {

/// The user's voice from an input of the machine, converted from the device's own format. Silent while muted and while
/// the echo guard blocks. Without a chosen device it follows the default input, also to the first that appears when
/// there was none at the start.
///
/// Main. `onPCM`, `onHeldBack`, `onError` and `onRecovered` are called on the input's thread, the last two on main too.
class MicCapture final : public Microphone {
public:
    MicCapture(AudioInputs& inputs, Scheduler& main);
    ~MicCapture() override;

    void setInputDevice(std::optional<std::uint32_t> device) override;
    void setMuted(bool muted) override { m_muted = muted; } ///< any thread
    /// Not while it runs.
    void start() override;
    void stop() override;

private:
    class Tap;

    void teardown();
    void fail(std::string const& message);
    void recovered();
    void defaultChanged();

    AudioInputs& m_inputs;
    std::optional<std::uint32_t> m_inputDeviceID; ///< none: the default
    std::atomic<bool> m_muted = false;
    std::atomic<bool> m_told = false; ///< of trouble that lasts
    bool m_running = false; ///< is meant to run; a restart that fails leaves it
    bool m_waiting = false; ///< the last start has failed
    std::unique_ptr<Tap> m_tap;
    std::unique_ptr<AudioInput> m_input;
    Lifetime m_lifetime; // what watches is made with it
    std::shared_ptr<void> m_watch;
};

} // namespace lingrelay
