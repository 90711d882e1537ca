#include "audio/AudioCapture.h"

#include "audio/PcmConversion.h"
#include "base/Log.h"
#include "config/L10n.h"

#include <atomic>
#include <mutex>
#include <utility>

namespace lingrelay {

namespace {

constexpr Duration tickTime = seconds(5.0);
constexpr int mostSilentTicks = 2;

} // namespace

/// One start: the receiver of its capture, and its watchdog. Lives until the capture is closed, by itself if need be.
class AudioCapture::Run final : public AudioReceiver, public std::enable_shared_from_this<Run> {
public:
    explicit Run(AudioCapture const& capture)
        : m_background(capture.m_background)
        , m_onPCM(capture.onPCM)
        , m_onError(capture.onError)
        , m_onRecovered(capture.onRecovered)
        , m_nextTick(m_background.now())
    {
    }

    void open(SystemAudio& system)
    {
        std::lock_guard const lock(m_inputMutex);
        if (!m_ended)
            m_input = system.open(*this);
    }
    /// Waits for a call that is in progress, and for a close on another thread.
    void close()
    {
        std::lock_guard const lock(m_inputMutex);
        m_input.reset();
    }
    void startWatchdog()
    {
        std::lock_guard const lock(m_mutex);
        armWatchdog();
    }
    void end()
    {
        std::lock_guard const lock(m_mutex);
        m_ended = true;
        m_background.stopTimer(m_timer);
    }

    void receive(std::span<float const> samples) override
    {
        if (m_ended)
            return;
        auto pcm = convertToInt16(samples);
        ++m_frames;
        if (m_onPCM)
            m_onPCM(std::move(pcm), {});
    }
    void started() override
    {
        if (m_ended)
            return;
        m_hasStarted = true;
        Log::write("[cap] startCapture OK");
        tellRecovered();
    }
    void failed(Error const& error) override
    {
        if (m_ended)
            return;
        if (m_hasStarted) {
            Log::write("[cap] STOPPED WITH ERROR: {}", error.message);
            tell(T("Capture stopped: ", "Thu âm dừng: ") + error.message);
        } else {
            Log::write("[cap] START FAILED: {}", error.message);
            tell(T("Screen capture: ", "Thu âm màn hình: ") + error.message);
        }
    }

private:
    void armWatchdog()
    {
        m_nextTick += tickTime;
        m_timer = m_background.startTimer(m_nextTick, [weak = weak_from_this()] {
            if (auto const self = weak.lock())
                self->tick();
        });
    }
    void tick()
    {
        std::unique_lock lock(m_mutex);
        if (m_ended)
            return;
        armWatchdog();
        auto const frames = m_frames.load();
        if (frames != 0 && frames != std::exchange(m_lastSeenFrames, frames)) {
            m_silentTicks = 0;
            bool const recovered = std::exchange(m_reportedNoAudio, false);
            lock.unlock();
            if (recovered)
                tellRecovered();
            return;
        }
        if (++m_silentTicks <= mostSilentTicks || std::exchange(m_reportedNoAudio, true))
            return;
        lock.unlock();
        Log::write("[cap] NO AUDIO for ~15s (frames={})", frames);
        tell(T("No audio heard — is the screen locked, or is screen-recording permission off?",
            "Không nghe thấy âm thanh — màn hình có đang khoá, hoặc chưa cấp quyền thu âm màn hình?"));
    }
    void tell(std::string const& message)
    {
        m_told = true;
        if (m_onError)
            m_onError(message);
    }
    void tellRecovered()
    {
        if (m_told.exchange(false) && m_onRecovered)
            m_onRecovered();
    }

    Scheduler& m_background;
    std::function<void(std::string, std::function<void()>)> const m_onPCM;
    std::function<void(std::string const&)> const m_onError;
    std::function<void()> const m_onRecovered;
    std::atomic<bool> m_ended = false;
    std::atomic<bool> m_told = false; ///< of trouble that lasts
    std::atomic<std::int64_t> m_frames = 0; ///< blocks that came
    bool m_hasStarted = false; ///< capture's thread only

    std::mutex m_inputMutex;
    std::unique_ptr<AudioInput> m_input;

    std::mutex m_mutex; ///< the watchdog
    Instant m_nextTick;
    Scheduler::TimerId m_timer = 0;
    std::int64_t m_lastSeenFrames = -1;
    int m_silentTicks = 0;
    bool m_reportedNoAudio = false;
};

AudioCapture::~AudioCapture()
{
    stop();
    for (auto const& closing : m_closing) {
        if (auto const run = closing.lock())
            run->close();
    }
}

void AudioCapture::start()
{
    stop();
    std::erase_if(m_closing, [](auto const& run) { return run.expired(); });
    m_run = std::make_shared<Run>(*this);
    m_run->startWatchdog();
    auto open = [run = m_run, &system = m_system] { run->open(system); };
    if (m_closing.empty())
        open();
    else
        m_background.post(std::move(open)); // behind the close
}

void AudioCapture::stop()
{
    if (!m_run)
        return;
    m_run->end();
    m_closing.push_back(m_run);
    m_background.post([run = std::exchange(m_run, {})] { run->close(); });
}

} // namespace lingrelay
