#pragma once

#include "audio/AudioSource.h"
#include "model/AppModel.h"
#include "platform/AudioDevices.h"
#include "speech/TTSPlayer.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace lingrelay {

/// Which device each direction hears and speaks into: what the user has picked, what a session chooses for itself, and
/// the system's default input, which it may switch to the virtual microphone for a call and gives back.
/// Main; all that it refers to outlives it.
class Routing {
public:
    using Device = std::optional<std::uint32_t>; ///< nothing means the system's default

    struct Services {
        AudioDevices& devices;
        Microphone& mic;
        TTSPlayer& listenPlayer;
        TTSPlayer& speakPlayer;
        AppModel& model;
    };

    /// `settings` is the controller's record.
    Routing(Services services, AppSettings const& settings) : m_services(services), m_settings(settings) { }

    /// Puts lists and picks into the model.
    void publish();

    /// The user's picks; a device that is not there any more is no pick.
    void pickMic(Device device);
    void pickListenOutput(Device device);
    void pickSpeakOutput(Device device);
    /// The speak voice goes into the virtual microphone. False when there is none.
    bool pickVirtualOutput();
    /// A typed line goes to the other side also where no session has routed it.
    void routeTyped();
    /// A preset takes the place of the user's picks of outputs.
    void adoptPreset(Preset preset);

    /// The speak direction starts: routes its voice and the microphone, and switches the default input if wanted.
    void beginSpeaking();
    /// The speak direction has ended.
    void endSpeaking();
    /// Gives the default input back if it was switched.
    void restoreDefaultInput();

private:
    void routeSpeech(std::vector<AudioDevice> const& outputs);
    void switchDefaultInput(std::vector<AudioDevice> const& inputs, Device realMic);
    Device realMic(std::vector<AudioDevice> const& inputs) const;

    Services m_services;
    AppSettings const& m_settings;
    bool m_speaking = false;
    std::optional<AudioDevice> m_listenDevice;
    std::optional<AudioDevice> m_speakDevice;
    std::optional<AudioDevice> m_micDevice;
    Device m_savedDefaultInput;
    bool m_didSwitchInput = false;
};

} // namespace lingrelay
