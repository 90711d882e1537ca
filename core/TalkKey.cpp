#include "core/TalkKey.h"

#include "config/L10n.h"

namespace lingrelay {

TalkKey::TalkKey(PushToTalk& key, Microphone& mic, OverlayWindow& overlay, AppModel& model)
    : m_key(key)
    , m_mic(mic)
    , m_overlay(overlay)
    , m_model(model)
{
    m_key.onChange = [this](bool pressed) { changed(pressed); };
}

void TalkKey::configure(AppSettings const& settings)
{
    m_key.setKey(settings.pushToTalkKey);
    m_key.stop();
    bool const gated = settings.pushToTalk && m_key.available() && settings.mode != AppSettings::Mode::listen;
    if (gated)
        m_key.start();
    m_mic.setMuted(gated);
    m_model.talking = !gated;
}

void TalkKey::stop()
{
    m_key.stop();
    m_mic.setMuted(false);
}

void TalkKey::changed(bool pressed)
{
    m_model.talking = pressed;
    m_mic.setMuted(!pressed);
    m_overlay.showStatus(pressed ? T("● speaking", "● đang nói") : T("push to talk", "giữ phím để nói"));
}

} // namespace lingrelay
