#pragma once

#include <string>
#include <string_view>

namespace lingrelay::service {

/// The shortest code that clients use: "spa" and "es_US" give "es", "nob" gives "no".
std::string shortLanguageCode(std::string_view code);

/// "Spanish" for "es"; the code itself when it is unknown.
std::string englishLanguageName(std::string const& code);

/// "Spanish (es)".
std::string languageLabel(std::string const& code);

} // namespace lingrelay::service
