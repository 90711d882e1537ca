#pragma once

#include "base/async/Scheduler.h"
#include "platform/AudioOutput.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

namespace lingrelay {

/// Plays speech that comes in irregular blocks to one output device: fades in after silence or a cut, decays at a
/// sudden end, throws old audio away when speech falls behind, and tells a clip that ran dry from the silence between
/// clips. While its device is away, time goes on: what would have been heard meanwhile is not kept for the return.
///
/// Any thread, except `render`, which is the output's. Owned by an engine, never replaced. Reports (`onUnderrun`,
/// `onLevel`) come on a scheduler of their own, a tenth of a second late at most; set both before the first audio.
class TTSPlayer final : public AudioRenderer, public std::enable_shared_from_this<TTSPlayer> {
public:
    /// Outputs are opened anew on `background`, where that may take its time.
    static std::shared_ptr<TTSPlayer> create(AudioOutputs& outputs, Scheduler& background, Scheduler& reports);
    ~TTSPlayer() override;

    std::function<void()> onUnderrun; ///< once for each clip that ran dry while more of it was to come
    std::function<void(double peak)> onLevel; ///< ten times a second while an output runs

    /// A fixed output; nothing follows the default. Takes effect at the next `rebuild`.
    void setDevice(std::optional<std::uint32_t> device);
    std::optional<std::uint32_t> device() const;
    /// The microphone can hear this player: its audio holds the echo guard.
    void setGatesMic(bool gates) { m_gatesMic = gates; }
    /// More of the current clip is to come.
    void setClipStreaming(bool streaming) { m_clipStreaming = streaming; }

    /// Adds 16-bit mono PCM. With `dropOld`, what is queued before is first cut to its last 8 seconds.
    void enqueuePCM(std::string_view pcm, double sourceRate, bool dropOld);
    /// Goes over to a device, dropping what was queued; does nothing when its output is there already.
    void moveTo(std::optional<std::uint32_t> device);
    /// Ends the output and makes one for the current device; what was queued is dropped.
    void rebuild();
    /// Ends the output and empties the queue.
    void teardown();

    bool hasOutput() const;
    double rate() const; ///< samples a second of the output, 48000 before there is one
    double queuedSeconds() const;
    int underruns() const { return m_underruns; }

    /// Real time: no allocation, no blocking but the queue's short lock.
    void render(float* out, std::size_t frames) override;

private:
    using Block = std::vector<float>;
    using Blocks = std::list<Block>;

    TTSPlayer(AudioOutputs& outputs, Scheduler& reports);

    static Block resample(std::string_view pcm, double sourceRate, double targetRate);
    void build();
    void dropQueue();
    void dropOldest(std::size_t keep);
    float next();
    bool starved() const { return m_reading == m_blocks.end(); }
    void skipEmpty();
    void watch();
    void look();
    void report();
    void discardUnplayed();

    AudioOutputs& m_outputs;
    Scheduler& m_reports;
    std::shared_ptr<void> m_defaultWatch;
    std::atomic<bool> m_gatesMic = false;
    std::atomic<bool> m_clipStreaming = false;

    mutable std::mutex m_unitMutex; ///< the output itself; never taken by the render side
    std::unique_ptr<AudioOutput> m_unit;
    std::optional<std::uint32_t> m_device;
    Scheduler::TimerId m_watchTimer = 0; ///< runs while there is sound

    mutable std::mutex m_lock; ///< the queue, shared with the render side; held for a time that does not grow with it
    double m_rate = 48000;
    Blocks m_blocks; ///< from m_reading on to be played; before it, played and waiting to be released
    Blocks::iterator m_reading;
    std::size_t m_readIdx = 0; ///< next sample in *m_reading
    std::size_t m_queued = 0; ///< samples not yet played
    float m_lastOut = 0;
    int m_rampIn = 0;
    bool m_wasStarved = true;
    bool m_discontinuity = false;
    std::size_t m_levelTick = 0;

    std::atomic<std::uint32_t> m_renders = 0;
    std::atomic<int> m_underruns = 0;
    std::atomic<std::uint32_t> m_levels = 0; ///< counts the level reports
    std::atomic<float> m_peak = 0;
    int m_reportedUnderruns = 0; ///< of the reports alone, like those that follow
    std::uint32_t m_reportedLevels = 0;
    std::uint32_t m_seenRenders = 0;
    Duration m_away{}; ///< how long the output has asked for nothing
    Duration m_unplayed{}; ///< of that, what has not been discarded
};

} // namespace lingrelay
