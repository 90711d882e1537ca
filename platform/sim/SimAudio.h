#pragma once

#include "base/async/Scheduler.h"
#include "platform/AudioOutput.h"

#include <map>
#include <set>
#include <vector>

namespace lingrelay {

/// Outputs that render only when told to, by hand or on a clock. One thread.
class SimAudioOutputs final : public AudioOutputs {
public:
    std::map<std::uint32_t, double> rates{{1, 48000}}; ///< the devices, by id
    std::uint32_t defaultDevice = 1; ///< 0: none

    std::unique_ptr<AudioOutput> open(std::optional<std::uint32_t> device, AudioRenderer& renderer) override;
    std::shared_ptr<void> watchDefault(std::function<void()> changed) override;

    void changeDefault(std::uint32_t device);
    std::size_t running() const { return m_running.size(); }
    std::uint32_t runningDevice() const;

    /// What the running output renders; silence with none.
    std::vector<float> pull(std::size_t frames);
    /// Pulls for `quantum` of time again and again, until the scheduler or this is gone.
    void runOn(Scheduler& scheduler, Duration quantum);

private:
    class Output;

    std::vector<Output*> m_running;
    std::map<int, std::function<void()>> m_watchers;
    int m_lastWatcher = 0;
};

} // namespace lingrelay
