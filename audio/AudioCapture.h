#pragma once

#include "audio/AudioSource.h"
#include "base/async/Scheduler.h"
#include "platform/SystemAudio.h"

#include <memory>
#include <vector>

namespace lingrelay {

/// What the other programs of the machine play, as PCM. A watchdog tells the user when nothing comes; it counts blocks
/// and not loudness. After a loss the sound comes again by itself.
///
/// Main. `onPCM` is called on the capture's thread, `onError` and `onRecovered` there or on `background`, all possibly
/// once more while `stop` returns. Captures are closed on `background`, which can take as long as such a call, and the
/// next one is opened behind that, so that two never call at once. The destructor sees to it that all are closed. What
/// it is made of outlives it.
class AudioCapture final : public AudioSource {
public:
    AudioCapture(SystemAudio& system, Scheduler& background) : m_system(system), m_background(background) { }
    ~AudioCapture() override;

    void start() override;
    void stop() override;

private:
    class Run;

    SystemAudio& m_system;
    Scheduler& m_background;
    std::shared_ptr<Run> m_run; ///< none while stopped
    std::vector<std::weak_ptr<Run>> m_closing;
};

} // namespace lingrelay
