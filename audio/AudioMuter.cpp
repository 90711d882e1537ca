#include "audio/AudioMuter.h"

#include "config/L10n.h"

#include <mutex>
#include <optional>

#include <fmt/format.h>

namespace lingrelay {

/// Has the silence, if there is one. Its jobs may run after the muter has gone.
class AudioMuter::Holder {
public:
    explicit Holder(SoundMuter& muter) : m_muter(muter) { }

    std::optional<SoundMuter::Failure> silence()
    {
        std::lock_guard const lock(m_mutex);
        if (m_ended)
            return {};
        auto result = m_muter.silence();
        if (auto const* failure = std::get_if<SoundMuter::Failure>(&result))
            return *failure;
        m_silence = std::move(std::get<std::unique_ptr<SoundMuter::Silence>>(result));
        return {};
    }
    void release()
    {
        std::lock_guard const lock(m_mutex);
        m_silence.reset();
    }
    void end()
    {
        std::lock_guard const lock(m_mutex);
        m_ended = true;
        m_silence.reset();
    }

private:
    SoundMuter& m_muter;
    std::mutex m_mutex;
    std::unique_ptr<SoundMuter::Silence> m_silence;
    bool m_ended = false;
};

AudioMuter::AudioMuter(SoundMuter& muter, Scheduler& main, Scheduler& background)
    : m_main(main)
    , m_background(background)
    , m_holder(std::make_shared<Holder>(muter))
{
}

AudioMuter::~AudioMuter() { m_holder->end(); }

void AudioMuter::start()
{
    stop();
    auto told = m_lifetime.whileAlive([this](SoundMuter::Failure const& failure) { complain(failure); });
    m_background.post([holder = m_holder, &main = m_main, told = std::move(told)] {
        if (auto const failure = holder->silence())
            main.post([told, failure]() mutable { told(*failure); });
    });
}

void AudioMuter::stop()
{
    m_background.post([holder = m_holder] { holder->release(); });
}

void AudioMuter::complain(SoundMuter::Failure const& failure) const
{
    auto const text = failure.step == SoundMuter::Step::tap
        ? T("Could not mute the original audio (tap error {})", "Không tắt được tiếng gốc (lỗi tap {})")
        : T("Could not mute the original audio (device error {})", "Không tắt được tiếng gốc (lỗi thiết bị {})");
    if (onError)
        onError(fmt::format(fmt::runtime(text), failure.status));
}

} // namespace lingrelay
