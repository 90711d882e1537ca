#include "sessions/UserLocale.h"

#include <algorithm>
#include <cstdlib>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/datefmt.h>
#include <unicode/normalizer2.h>

namespace lingrelay {

namespace {

/// As setlocale() looks for the locale of dates.
icu::Locale localeOfDates()
{
    for (auto const* name : {"LC_ALL", "LC_TIME", "LANG"}) {
        auto const* value = std::getenv(name);
        if (value && *value)
            return icu::Locale::createCanonical(value);
    }
    return icu::Locale::createCanonical("C");
}

icu::StringPiece piece(std::string_view text) { return {text.data(), static_cast<std::int32_t>(text.size())}; }

/// Folds in one pass that compilers turn into wide operations; false when the text is not all ASCII.
bool foldAscii(std::string_view text, std::string& result)
{
    auto const start = result.size();
    result.append(text);
    unsigned char seen = 0;
    for (auto& c : std::span(result).subspan(start)) {
        seen |= static_cast<unsigned char>(c);
        c = static_cast<char>(c + (c >= 'A' && c <= 'Z' ? 'a' - 'A' : 0));
    }
    if (seen < 0x80)
        return true;
    result.resize(start);
    return false;
}

} // namespace

struct UserLocale::Parts {
    icu::Locale locale = localeOfDates();
    std::unique_ptr<icu::DateFormat> format{
        icu::DateFormat::createDateTimeInstance(icu::DateFormat::kMedium, icu::DateFormat::kShort, locale)};
    /// Turkish and Azeri tell a dotted i from a dotless one.
    bool dottedI = std::string_view(locale.getLanguage()) == "tr" || std::string_view(locale.getLanguage()) == "az";
    UErrorCode status = U_ZERO_ERROR;
    icu::Normalizer2 const* composed = icu::Normalizer2::getNFCInstance(status);
    std::string scratch;
};

UserLocale::UserLocale() : m_parts(std::make_unique<Parts>()) { }
UserLocale::~UserLocale() = default;

std::string UserLocale::dateAndTime(Date date) const
{
    if (!m_parts->format)
        return iso8601(date);
    constexpr char16_t narrowSpace = 0x202F; // nobody can type it into a search
    icu::UnicodeString text;
    auto const since = std::chrono::duration<double, std::milli>(date.time_since_epoch());
    m_parts->format->format(since.count(), text);
    text.findAndReplace(narrowSpace, u' ');
    std::string result;
    return text.toUTF8String(result);
}

void UserLocale::fold(std::string_view text, std::string& result) const
{
    if (!m_parts->dottedI && foldAscii(text, result))
        return;
    auto status = U_ZERO_ERROR;
    auto& folded = m_parts->scratch;
    folded.clear();
    icu::StringByteSink<std::string> toFolded(&folded);
    icu::CaseMap::utf8Fold(
        m_parts->dottedI ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT, piece(text), toFolded, nullptr, status);
    if (!m_parts->composed || m_parts->composed->isNormalizedUTF8(piece(folded), status)) {
        result += folded;
        return;
    }
    icu::StringByteSink<std::string> toResult(&result);
    m_parts->composed->normalizeUTF8(0, piece(folded), toResult, nullptr, status);
}

} // namespace lingrelay
