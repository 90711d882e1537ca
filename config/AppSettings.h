#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace lingrelay {

/// The one record of user preferences. A plain value: copied, never shared. Stored field by field in the defaults
/// store, one key a field, under the field's own name.
struct AppSettings {
    /// `listen` translates the other side for the user, `speak` the user for the other side, `both` does both.
    enum class Mode { listen, speak, both };
    static std::optional<Mode> modeFromRawValue(std::string_view rawValue);

    std::string sourceLang = "auto"; ///< listen: what is heard; "auto" lets the recogniser detect it
    std::string targetLang = "vi"; ///< listen: what to translate into
    std::string gender = "female"; ///< read by `load`, never written by `save`
    bool tts = true; ///< speak finished translations aloud
    bool muteOriginal = true; ///< silence the captured sound locally while listening
    std::int64_t sampleRate = 48000; ///< not stored; replaced by the real capture rate in each direction's record
    Mode mode = Mode::listen;
    std::string myLang = "vi"; ///< speak: the user's language; "auto" is allowed
    std::string theirLang = "en"; ///< speak: the other side's language
    bool autoRouteMic = false; ///< switch the default input to the virtual microphone while speaking
    bool typeIntoChat = false; ///< speak: type translations into the focused field instead of speaking them
    bool rollingContext = true; ///< feed recogniser streams the transcript so far
    std::string voiceName = "Daniel";
    double voiceSpeed = 1.15;
    bool showOverlay = true;
    bool menuBarIcon = true;
    double overlayFontSize = 26.0; ///< points
    bool twoWayAuto = false; ///< in mode `both`, one stream translates both ways
    bool diarization = false;
    bool endpointDetection = true;
    double endpointSensitivity = 0.0; ///< -1 to 1; 0 is the provider's own
    std::int64_t latencyAdjustment = 0; ///< 0 or less is the provider's own
    bool pushToTalk = false;
    std::string pushToTalkKey = "rightOption";
    bool calendarContext = false;
    bool autoDetectContext = true;
    std::int64_t autoDetectMinutes = 3;
    bool polishTyped = true;
    bool forceTwoWay = false; ///< two people at one machine: the speak stream translates both ways
    std::string preset;
    std::map<std::string, std::string> perAppProfiles; ///< application id to context profile id
    std::string uiLang = "en";
    bool echoGuard = false;

    /// Calls `visit(name, member)` for every field, in order; `member` is a pointer to member.
    template <class F> static void forEachField(F&& visit);

    /// Reads the shared store; absent keys give the defaults above. Nothing is clamped or repaired.
    static AppSettings load();
    /// Writes every field but `gender` and `sampleRate` to the shared store.
    void save() const;

    /// True when the settings ask for streams that translate both ways.
    bool twoWay() const { return forceTwoWay || (twoWayAuto && mode == Mode::both); }
    /// This record for one direction: the languages of `speak` become source and target.
    AppSettings listenRecord(std::int64_t captureRate) const;
    AppSettings speakRecord() const;

    bool operator==(AppSettings const&) const = default;
};

/// "listen", "speak" or "both".
char const* rawValue(AppSettings::Mode mode);

template <class F> void AppSettings::forEachField(F&& visit)
{
    visit("sourceLang", &AppSettings::sourceLang);
    visit("targetLang", &AppSettings::targetLang);
    visit("gender", &AppSettings::gender);
    visit("tts", &AppSettings::tts);
    visit("muteOriginal", &AppSettings::muteOriginal);
    visit("sampleRate", &AppSettings::sampleRate);
    visit("mode", &AppSettings::mode);
    visit("myLang", &AppSettings::myLang);
    visit("theirLang", &AppSettings::theirLang);
    visit("autoRouteMic", &AppSettings::autoRouteMic);
    visit("typeIntoChat", &AppSettings::typeIntoChat);
    visit("rollingContext", &AppSettings::rollingContext);
    visit("voiceName", &AppSettings::voiceName);
    visit("voiceSpeed", &AppSettings::voiceSpeed);
    visit("showOverlay", &AppSettings::showOverlay);
    visit("menuBarIcon", &AppSettings::menuBarIcon);
    visit("overlayFontSize", &AppSettings::overlayFontSize);
    visit("twoWayAuto", &AppSettings::twoWayAuto);
    visit("diarization", &AppSettings::diarization);
    visit("endpointDetection", &AppSettings::endpointDetection);
    visit("endpointSensitivity", &AppSettings::endpointSensitivity);
    visit("latencyAdjustment", &AppSettings::latencyAdjustment);
    visit("pushToTalk", &AppSettings::pushToTalk);
    visit("pushToTalkKey", &AppSettings::pushToTalkKey);
    visit("calendarContext", &AppSettings::calendarContext);
    visit("autoDetectContext", &AppSettings::autoDetectContext);
    visit("autoDetectMinutes", &AppSettings::autoDetectMinutes);
    visit("polishTyped", &AppSettings::polishTyped);
    visit("forceTwoWay", &AppSettings::forceTwoWay);
    visit("preset", &AppSettings::preset);
    visit("perAppProfiles", &AppSettings::perAppProfiles);
    visit("uiLang", &AppSettings::uiLang);
    visit("echoGuard", &AppSettings::echoGuard);
}

} // namespace lingrelay
