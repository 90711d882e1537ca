#include "config/Languages.h"

#include "config/L10n.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace lingrelay {

namespace {

struct Row {
    std::string_view code;
    char const* en;
    char const* vi;
};

constexpr Row table[] = {
    {"auto", "Auto-detect", "Tự nhận diện"},
    {"en", "English", "Tiếng Anh"},
    {"vi", "Vietnamese", "Tiếng Việt"},
    {"zh", "Chinese", "Tiếng Trung"},
    {"ja", "Japanese", "Tiếng Nhật"},
    {"ko", "Korean", "Tiếng Hàn"},
    {"th", "Thai", "Tiếng Thái"},
    {"id", "Indonesian", "Tiếng Indonesia"},
    {"ms", "Malay", "Tiếng Mã Lai"},
    {"tl", "Tagalog", "Tiếng Philippines"},
    {"hi", "Hindi", "Tiếng Hindi"},
    {"fr", "French", "Tiếng Pháp"},
    {"de", "German", "Tiếng Đức"},
    {"es", "Spanish", "Tiếng Tây Ban Nha"},
    {"pt", "Portuguese", "Tiếng Bồ Đào Nha"},
    {"it", "Italian", "Tiếng Ý"},
    {"ru", "Russian", "Tiếng Nga"},
    {"ar", "Arabic", "Tiếng Ả Rập"},
    {"nl", "Dutch", "Tiếng Hà Lan"},
    {"pl", "Polish", "Tiếng Ba Lan"},
    {"tr", "Turkish", "Tiếng Thổ Nhĩ Kỳ"},
    {"uk", "Ukrainian", "Tiếng Ukraina"},
    {"sv", "Swedish", "Tiếng Thụy Điển"},
    {"no", "Norwegian", "Tiếng Na Uy"},
    {"da", "Danish", "Tiếng Đan Mạch"},
    {"fi", "Finnish", "Tiếng Phần Lan"},
    {"cs", "Czech", "Tiếng Séc"},
    {"el", "Greek", "Tiếng Hy Lạp"},
    {"he", "Hebrew", "Tiếng Do Thái"},
    {"hu", "Hungarian", "Tiếng Hungary"},
    {"ro", "Romanian", "Tiếng Rumani"},
    {"bg", "Bulgarian", "Tiếng Bulgaria"},
    {"sk", "Slovak", "Tiếng Slovakia"},
    {"sl", "Slovenian", "Tiếng Slovenia"},
    {"hr", "Croatian", "Tiếng Croatia"},
    {"sr", "Serbian", "Tiếng Serbia"},
    {"bs", "Bosnian", "Tiếng Bosnia"},
    {"mk", "Macedonian", "Tiếng Macedonia"},
    {"sq", "Albanian", "Tiếng Albania"},
    {"et", "Estonian", "Tiếng Estonia"},
    {"lv", "Latvian", "Tiếng Latvia"},
    {"lt", "Lithuanian", "Tiếng Litva"},
    {"be", "Belarusian", "Tiếng Belarus"},
    {"kk", "Kazakh", "Tiếng Kazakh"},
    {"az", "Azerbaijani", "Tiếng Azerbaijan"},
    {"fa", "Persian", "Tiếng Ba Tư"},
    {"ur", "Urdu", "Tiếng Urdu"},
    {"bn", "Bengali", "Tiếng Bengal"},
    {"ta", "Tamil", "Tiếng Tamil"},
    {"te", "Telugu", "Tiếng Telugu"},
    {"ml", "Malayalam", "Tiếng Malayalam"},
    {"kn", "Kannada", "Tiếng Kannada"},
    {"mr", "Marathi", "Tiếng Marathi"},
    {"gu", "Gujarati", "Tiếng Gujarat"},
    {"pa", "Punjabi", "Tiếng Punjab"},
    {"sw", "Swahili", "Tiếng Swahili"},
    {"af", "Afrikaans", "Tiếng Afrikaans"},
    {"ca", "Catalan", "Tiếng Catalan"},
    {"eu", "Basque", "Tiếng Basque"},
    {"gl", "Galician", "Tiếng Galicia"},
    {"cy", "Welsh", "Tiếng Wales"},
};

Row const* find(std::string_view code)
{
    auto const* found
        = std::find_if(std::begin(table), std::end(table), [&](Row const& row) { return row.code == code; });
    return found == std::end(table) ? nullptr : found;
}

std::string applied(Row const& row) { return UiLanguage::shared().english() ? row.en : row.vi; }

} // namespace

std::vector<Catalog::Language> Catalog::languages()
{
    std::vector<Language> languages;
    languages.reserve(std::size(table));
    for (auto const& row : table)
        languages.push_back({std::string(row.code), applied(row)});
    return languages;
}

std::string Catalog::name(std::string_view code)
{
    if (auto const* row = find(code))
        return applied(*row);
    std::string upper(code);
    std::transform(upper.begin(), upper.end(), upper.begin(),
        [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return upper;
}

std::optional<std::string> Catalog::codeOf(std::string_view text)
{
    std::string code(text.substr(0, text.find_first_of("-_.")));
    std::transform(code.begin(), code.end(), code.begin(), [](unsigned char letter) { return std::tolower(letter); });
    return contains(code) ? std::optional(code) : std::nullopt;
}

bool Catalog::contains(std::string_view code) { return find(code) != nullptr; }

} // namespace lingrelay
