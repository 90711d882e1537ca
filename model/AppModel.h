#pragma once

#include "base/Observable.h"
#include "base/Time.h"
#include "config/AppSettings.h"
#include "config/Preset.h"
#include "model/ContextProfile.h"
#include "platform/AudioDevices.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace lingrelay {

/// The one observable state of the program: the controller writes it, views read it and act through `commands`.
/// Shared; main.
class AppModel {
public:
    enum class StatusKind { idle, connecting, live, warning, error };
    enum class Direction { listen, speak };

    /// One transcript line: a clause is one line.
    struct Line {
        std::string id; ///< UUID, upper case
        Date at;
        Direction direction = Direction::listen;
        std::string source; ///< may be empty
        std::string translation;
        std::string speaker; ///< the recogniser's label, or empty

        bool operator==(Line const&) const = default;
    };

    /// The controller's entry points. Until the controller fills them in, each does nothing.
    struct Commands {
        using Device = std::optional<std::uint32_t>;

        std::function<void()> start = [] {};
        std::function<void()> stop = [] {};
        std::function<void()> applySettings = [] {};
        std::function<void(Device)> pickMic = [](Device) {};
        std::function<void(Device)> pickSpeakOut = [](Device) {};
        std::function<void(Device)> pickListenOut = [](Device) {};
        std::function<void()> installDriver = [] {};
        std::function<void()> refreshDevices = [] {};
        std::function<void(std::function<void()> done)> testVoice = [](std::function<void()> done) { done(); };
        std::function<void()> detectContext = [] {};
        std::function<void()> restartApp = [] {};
        std::function<void()> adoptKey = [] {}; ///< the user has entered a key of their own, or removed it
        /// `done` is called once, with what of the text could not be spoken.
        std::function<void(std::string const& text, std::function<void(std::string const& unspoken)> done)> typeToSpeak
            = [](std::string const& text, auto const& done) { done(text); };
        std::function<void()> replayLast = [] {};
        std::function<void()> summarizeRecent = [] {};
        std::function<void(Preset)> applyPreset = [](Preset) {};
    };

    /// Reads settings, profiles and the active profile from the shared defaults store.
    AppModel();
    static AppModel& shared();

    Observable<bool> running{false};
    Observable<std::string> status;
    Observable<StatusKind> statusKind{StatusKind::idle};
    Observable<std::string> banner; ///< a trouble that stands, whatever the status says meanwhile; empty without one
    Observable<std::optional<Date>> startedAt;
    Observable<double> elapsed{0.0}; ///< seconds since `startedAt`
    Observable<std::string> listenOriginal;
    Observable<std::string> listenTranslated;
    Observable<std::string> speakTranslated;
    Observable<bool> needsPermissions{false};
    Observable<std::optional<std::string>> requestedSection;
    Observable<std::string> quickSummary;
    Observable<bool> summarizing{false};
    Observable<bool> typing{false};
    Observable<bool> autoDetectDone{false};
    Observable<bool> talking{true};
    Observable<double> micLevel{0.0}; ///< levels are 0 to 1
    Observable<double> systemLevel{0.0};
    Observable<double> listenOutLevel{0.0};
    Observable<double> speakOutLevel{0.0};
    Observable<AppSettings> settings; ///< the views' working copy
    Observable<std::vector<AudioDevice>> inputDevices;
    Observable<std::vector<AudioDevice>> outputDevices;
    Observable<std::optional<std::uint32_t>> micDeviceID;
    Observable<std::optional<std::uint32_t>> speakDeviceID;
    Observable<std::optional<std::uint32_t>> listenOutDeviceID;
    Observable<bool> virtualInstalled{false};
    Observable<std::vector<ContextProfile>> profiles;
    Observable<std::string> activeProfileID;
    Observable<std::vector<Line>> transcript; ///< of this run of the program, its last 2000 lines

    Commands commands;

    /// Appends a line of this moment. Lines are never merged, sorted or thinned out.
    void log(Direction direction, std::string source, std::string translation, std::string speaker, Date now);
    std::optional<ContextProfile> activeProfile() const;
    void saveProfiles() const;
    std::string elapsedString() const; ///< "01:02:05"
    /// The status, or, while it is empty, whether a session runs, in the language of the moment. Never empty.
    std::string statusText() const;

private:
    Subscription m_language;
};

/// The stored words: "listen", "speak"; "idle", "connecting", "live", "warning", "error".
char const* rawValue(AppModel::Direction direction);
char const* rawValue(AppModel::StatusKind kind);

} // namespace lingrelay
