#pragma once

#include "base/async/Lifetime.h"
#include "base/async/Scheduler.h"
#include "cli/soundfiles/Pace.h"
#include "cli/soundfiles/WavFile.h"
#include "platform/AudioOutput.h"

#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace lingrelay {

/// Outputs that play into a WAV file, or into nothing when there is no file.
///
/// In real time the file holds what a listener would have heard since `begin`, pauses included: the player is asked on
/// a clock, and sample counts follow the clock exactly. With `fast` the player is asked only while it has sound, so
/// clause stands behind clause. Any thread; the scheduler outlives it, and outputs are destroyed before it.
class WavOutputs final : public AudioOutputs {
public:
    static constexpr std::int64_t rate = 24000;

    WavOutputs(Scheduler& scheduler, std::optional<WavFile> file, Pace pace);
    ~WavOutputs() override;

    /// Seconds of sound that the player holds; set before the first output is opened.
    std::function<double()> queuedSeconds;

    /// The listener begins to listen now.
    void begin();
    /// The listener leaves: no output is asked any more, and the file is complete up to now.
    std::optional<Error> finish();

    std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t> device, AudioRenderer& renderer) override;
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override;

private:
    class Output;

    void close(AudioRenderer& renderer);
    void wake();
    void tick();
    void pullTo(std::int64_t samples);
    std::int64_t heard() const;

    Scheduler& m_scheduler;
    Pace const m_pace;
    mutable std::mutex m_mutex; ///< guards all below; held while the renderer is asked
    std::optional<WavFile> m_file;
    AudioRenderer* m_renderer = nullptr;
    Scheduler::TimerId m_timer = 0;
    std::optional<Instant> m_began;
    std::int64_t m_pulled = 0; ///< samples since the beginning
    bool m_finished = false;
    std::vector<float> m_buffer;
    Lifetime m_lifetime; ///< until the file is finished
};

} // namespace lingrelay
