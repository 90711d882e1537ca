#pragma once

#include "audio/AudioSource.h"
#include "desktop/OverlayWindow.h"
#include "desktop/PushToTalk.h"
#include "model/AppModel.h"

namespace lingrelay {

/// The key that opens the microphone while it is held, for sessions of a user who wants that. Main; all that it refers
/// to outlives it.
class TalkKey {
public:
    TalkKey(PushToTalk& key, Microphone& mic, OverlayWindow& overlay, AppModel& model);
    ~TalkKey() { m_key.onChange = nullptr; }

    /// Closes the microphone and watches the key where the settings ask for it and a key can be watched; else opens it.
    void configure(AppSettings const& settings);
    /// The session is over: the next one must not begin with a closed microphone.
    void stop();

private:
    void changed(bool pressed);

    PushToTalk& m_key;
    Microphone& m_mic;
    OverlayWindow& m_overlay;
    AppModel& m_model;
};

} // namespace lingrelay
