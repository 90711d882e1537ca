#include "service/engines/Languages.h"

#include <fmt/format.h>
#include <unicode/locid.h>

namespace lingrelay::service {

std::string shortLanguageCode(std::string_view code)
{
    std::string const language = icu::Locale::createFromName(std::string(code).c_str()).getLanguage();
    if (language == "nb")
        return "no";
    return language == "cmn" ? "zh" : language;
}

std::string englishLanguageName(std::string const& code)
{
    icu::UnicodeString name;
    std::string text;
    icu::Locale(code.c_str()).getDisplayLanguage(icu::Locale::getEnglish(), name).toUTF8String(text);
    return text.empty() ? code : text;
}

std::string languageLabel(std::string const& code) { return fmt::format("{} ({})", englishLanguageName(code), code); }

} // namespace lingrelay::service
