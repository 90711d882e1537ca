#include "config/L10n.h"

#include "base/Registry.h"

#include <algorithm>
#include <iterator>

namespace lingrelay {

namespace {

struct Text {
    std::string_view key;
    char const* en;
    char const* vi;
};

constexpr Text table[] = {
    {"start", "Start translating", "Bắt đầu dịch"},
    {"stop", "Stop translating", "Dừng dịch"},
    {"quit", "Quit", "Thoát"},
    {"running", "● running…", "● đang chạy…"},
    {"translating", "● translating…", "● đang dịch…"},
    {"ready", "● ready", "● sẵn sàng"},
    {"reconnecting", "↻ reconnecting…", "↻ đang kết nối lại…"},
    {"install", "Install", "Cài đặt"},
    {"later", "Later", "Để sau"},
    {"driver.title", "Install the “Lingrelay” audio device?", "Cài thiết bị âm thanh “Lingrelay”?"},
    {"driver.body",
        "To send your translated voice into Meet/Zoom/Zalo as a microphone, Lingrelay installs one virtual audio "
        "device. One time only, no password needed.",
        "Để gửi giọng dịch vào Meet/Zoom/Zalo làm micro, Lingrelay cần cài 1 thiết bị âm thanh ảo. Chỉ làm 1 lần, "
        "không "
        "cần mật khẩu."},
    {"driver.done", "✓ Installed “Lingrelay” — pick it as the Microphone in Meet/Zalo",
        "✓ Đã cài “Lingrelay” — chọn nó làm Microphone trong Meet/Zalo"},
    {"driver.fail", "⚠ Device install failed", "⚠ Cài thiết bị thất bại"},
};

constexpr Text languageTable[] = {
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

template <std::size_t N> Text const* find(Text const (&rows)[N], std::string_view key)
{
    auto const* found = std::find_if(std::begin(rows), std::end(rows), [&](Text const& row) { return row.key == key; });
    return found == std::end(rows) ? nullptr : found;
}

std::string applied(Text const& row) { return UiLanguage::shared().english() ? row.en : row.vi; }

} // namespace

UiLanguage& UiLanguage::shared() { return Registry::get<UiLanguage>(); }

std::string T(char const* en, char const* vi) { return UiLanguage::shared().modelEnglish() ? en : vi; }

std::string L10n::t(std::string_view key)
{
    auto const* row = find(table, key);
    return row ? applied(*row) : std::string(key);
}

std::vector<Catalog::Language> Catalog::languages()
{
    std::vector<Language> languages;
    languages.reserve(std::size(languageTable));
    for (auto const& row : languageTable)
        languages.push_back({std::string(row.key), applied(row)});
    return languages;
}

std::string Catalog::name(std::string_view code)
{
    if (auto const* row = find(languageTable, code))
        return applied(*row);
    std::string upper(code);
    std::transform(upper.begin(), upper.end(), upper.begin(),
        [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return upper;
}

bool Catalog::contains(std::string_view code) { return find(languageTable, code) != nullptr; }

} // namespace lingrelay
