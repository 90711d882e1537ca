#include "audio/AudioMuter.h"

#include "config/L10n.h"

#include <fmt/format.h>

namespace lingrelay {

void AudioMuter::start()
{
    stop();
    auto result = m_muter.silence();
    if (auto* silence = std::get_if<std::unique_ptr<SoundMuter::Silence>>(&result)) {
        m_silence = std::move(*silence);
        return;
    }
    auto const& failure = std::get<SoundMuter::Failure>(result);
    auto const text = failure.step == SoundMuter::Step::tap
        ? T("Could not mute the original audio (tap error {})", "Không tắt được tiếng gốc (lỗi tap {})")
        : T("Could not mute the original audio (device error {})", "Không tắt được tiếng gốc (lỗi thiết bị {})");
    if (onError)
        onError(fmt::format(fmt::runtime(text), failure.status));
}

} // namespace lingrelay
