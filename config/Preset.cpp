#include "config/Preset.h"

#include "config/L10n.h"

#include <algorithm>

namespace lingrelay {

namespace {

using Mode = AppSettings::Mode;

struct Scenario {
    char const* rawValue;
    char const* title[2]; ///< English, Vietnamese
    char const* subtitle[2];
    Mode mode;
    std::optional<bool> muteOriginal; ///< nothing: left as it is
    bool typeIntoChat;
    bool forceTwoWay;
    bool echoGuard;
};

constexpr Scenario scenarios[] = {
    {"videoCall", {"Video call", "Gọi video"},
        {"Meet · Zoom · Zalo — wear headphones", "Meet · Zoom · Zalo — đeo tai nghe"}, Mode::both, true, false, false,
        false},
    {"watchVideo", {"Watch a video", "Xem video"}, {"Understand what is playing", "Hiểu video đang phát"}, Mode::listen,
        true, false, false, false},
    // Here the translation plays aloud beside the microphone.
    {"inPerson", {"In person", "Gặp trực tiếp"},
        {"Two people, one computer, speakers", "Hai người, một máy, loa ngoài"}, Mode::speak, false, false, true, true},
    {"textChat", {"Text chat", "Chat chữ"}, {"Speak, it types the translation", "Nói, app gõ bản dịch"}, Mode::speak,
        std::nullopt, true, false, false},
};

Scenario const& scenario(Preset preset) { return scenarios[static_cast<std::size_t>(preset)]; }

} // namespace

char const* rawValue(Preset preset) { return scenario(preset).rawValue; }

std::optional<Preset> presetFromRawValue(std::string_view rawValue)
{
    auto const found = std::find_if(allPresets.begin(), allPresets.end(),
        [rawValue](Preset preset) { return rawValue == scenario(preset).rawValue; });
    return found == allPresets.end() ? std::nullopt : std::optional(*found);
}

std::string title(Preset preset) { return T(scenario(preset).title[0], scenario(preset).title[1]); }
std::string subtitle(Preset preset) { return T(scenario(preset).subtitle[0], scenario(preset).subtitle[1]); }

void apply(Preset preset, AppSettings& settings)
{
    auto const& fields = scenario(preset);
    settings.preset = fields.rawValue;
    settings.mode = fields.mode;
    settings.tts = true;
    settings.muteOriginal = fields.muteOriginal.value_or(settings.muteOriginal);
    settings.autoRouteMic = false; // the user picks the virtual microphone in the call program
    settings.typeIntoChat = fields.typeIntoChat;
    settings.forceTwoWay = fields.forceTwoWay;
    settings.echoGuard = fields.echoGuard;
}

} // namespace lingrelay
