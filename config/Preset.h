#pragma once

#include "config/AppSettings.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace lingrelay {

/// A one-click scenario: settings that make sense together.
enum class Preset { videoCall, watchVideo, inPerson, textChat };

inline constexpr std::array allPresets{Preset::videoCall, Preset::watchVideo, Preset::inPerson, Preset::textChat};

/// The stored words, which are the names of the values; what is no such word gives nothing.
char const* rawValue(Preset preset);
std::optional<Preset> presetFromRawValue(std::string_view rawValue);

/// For people, in the language of the model's settings.
std::string title(Preset preset);
std::string subtitle(Preset preset);

/// Sets the scenario's fields and leaves all others.
void apply(Preset preset, AppSettings& settings);

} // namespace lingrelay
