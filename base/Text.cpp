#include "base/Text.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <utility>

#include <unicode/brkiter.h>
#include <unicode/uchar.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace lingrelay {

namespace {

/// The code point that begins at `offset`, which moves behind it; broken bytes give U+FFFD.
UChar32 nextCodePoint(std::string_view text, std::size_t& offset)
{
    auto position = static_cast<std::int64_t>(offset);
    UChar32 point = 0;
    U8_NEXT_OR_FFFD(
        reinterpret_cast<std::uint8_t const*>(text.data()), position, static_cast<std::int64_t>(text.size()), point);
    offset = static_cast<std::size_t>(position);
    return point;
}

/// True for code points that are a character by themselves whatever stands beside them, unless that is an extending
/// one (which is not simple): Latin with Vietnamese, common punctuation, kana without voicing marks, ideographs.
bool isSimple(UChar32 point)
{
    if (point < 0x300)
        return point != '\r' && point != '\n';
    return (point >= 0x1E00 && point <= 0x1EFF) || (point >= 0x2010 && point <= 0x2027)
        || (point >= 0x3001 && point <= 0x3029) || (point >= 0x3041 && point <= 0x3096)
        || (point >= 0x30A0 && point <= 0x30FF) || (point >= 0x4E00 && point <= 0x9FFF)
        || (point >= 0xFF01 && point <= 0xFF5E);
}

/// Calls `found(bytes)` for every character of a text that is not all simple.
template <class F> void segment(std::string_view text, F found)
{
    thread_local std::unique_ptr<icu::BreakIterator> const iterator = [] {
        UErrorCode status = U_ZERO_ERROR;
        return std::unique_ptr<icu::BreakIterator>(
            icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    }();
    UErrorCode status = U_ZERO_ERROR;
    UText source = UTEXT_INITIALIZER;
    utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &status);
    iterator->setText(&source, status);
    std::int32_t begin = iterator->first();
    for (auto end = iterator->next(); end != icu::BreakIterator::DONE; begin = end, end = iterator->next())
        found(static_cast<std::size_t>(end - begin));
    utext_close(&source);
}

/// True when a character that ends like this takes in even a simple one behind it: a joiner before a symbol such as a
/// copyright sign, and marks that stand before digits in some scripts.
bool takesNext(std::string_view text)
{
    if (text.empty() || static_cast<unsigned char>(text.back()) < 0x80)
        return false;
    auto last = text.size() - 1;
    while (last > 0 && (static_cast<unsigned char>(text[last]) & 0xC0) == 0x80)
        --last;
    auto const point = nextCodePoint(text, last);
    return point == 0x200D || u_getIntPropertyValue(point, UCHAR_GRAPHEME_CLUSTER_BREAK) == U_GCB_PREPEND;
}

/// Ends of the parts of a text that an iterator of ICU finds, the text's own end included.
std::vector<std::size_t> boundariesOf(std::string_view text, icu::BreakIterator& iterator)
{
    std::vector<std::size_t> ends;
    UErrorCode status = U_ZERO_ERROR;
    UText source = UTEXT_INITIALIZER;
    utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &status);
    iterator.setText(&source, status);
    for (auto end = iterator.next(); end != icu::BreakIterator::DONE; end = iterator.next())
        ends.push_back(static_cast<std::size_t>(end));
    utext_close(&source);
    return ends;
}

constexpr std::size_t longestEntry = 0xFFFF;

} // namespace

std::string_view trimBlanks(std::string_view text)
{
    auto const first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string_view trimWhitespace(std::string_view text)
{
    auto const isSpace = [](UChar32 point) { return u_isUWhiteSpace(point) || point == 0x200B; };
    std::size_t first = 0;
    while (first < text.size()) {
        auto next = first;
        if (!isSpace(nextCodePoint(text, next)))
            break;
        first = next;
    }
    text.remove_prefix(first);
    while (!text.empty()) {
        auto last = text.size() - 1;
        while (last > 0 && (static_cast<unsigned char>(text[last]) & 0xC0) == 0x80)
            --last;
        auto next = last;
        if (!isSpace(nextCodePoint(text, next)))
            break;
        text = text.substr(0, last);
    }
    return text;
}

std::string withoutControls(std::string_view text, Breaks breaks)
{
    auto const suspicious = [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F' || c == '\xC2'; };
    if (std::none_of(text.begin(), text.end(), suspicious))
        return std::string(text);
    std::string result;
    for (std::size_t i = 0; i < text.size();) {
        auto const begin = i;
        auto const point = nextCodePoint(text, i);
        if (point == '\r' && i < text.size() && text[i] == '\n')
            continue;
        if (point == '\n' || point == '\r' || point == '\t')
            result += breaks == Breaks::blanks ? ' ' : point == '\t' ? '\t' : '\n';
        else if (u_charType(point) != U_CONTROL_CHAR)
            result += text.substr(begin, i - begin);
    }
    return result;
}

bool isUtf8(std::string_view text)
{
    auto const* bytes = reinterpret_cast<std::uint8_t const*>(text.data());
    auto const length = static_cast<std::int64_t>(text.size());
    for (std::int64_t i = 0; i < length;) {
        UChar32 point = 0;
        U8_NEXT(bytes, i, length, point);
        if (point < 0)
            return false;
    }
    return true;
}

std::size_t characterCount(std::string_view text)
{
    CharacterText characters;
    characters.append(text);
    return characters.count();
}

std::vector<std::string> wordsOf(std::string_view text)
{
    auto const lower = [&] {
        auto unicode = icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())});
        std::string result;
        unicode.toLower(icu::Locale::getRoot()).toUTF8String(result);
        return result;
    }();
    std::vector<std::string> words;
    std::string word;
    auto const finish = [&] {
        if (!word.empty())
            words.push_back(std::exchange(word, {}));
    };
    for (std::size_t offset = 0; offset < lower.size();) {
        auto const begin = offset;
        auto const point = nextCodePoint(lower, offset);
        if (u_isalnum(point) || (U_GET_GC_MASK(point) & (U_GC_M_MASK | U_GC_N_MASK)))
            word.append(lower, begin, offset - begin);
        else
            finish();
    }
    finish();
    return words;
}

void CharacterText::append(std::string_view text)
{
    // Simple text that follows anything only adds characters; other text may join the last one.
    auto const firstLength = m_lengths.size();
    auto const add = [this](std::size_t bytes) {
        for (; bytes > longestEntry; bytes -= longestEntry)
            m_lengths.push_back(static_cast<std::uint16_t>(longestEntry));
        m_lengths.push_back(static_cast<std::uint16_t>(bytes));
    };
    bool const joins = takesNext(this->text());
    for (std::size_t offset = 0; offset < text.size();) {
        auto const begin = offset;
        if (!isSimple(nextCodePoint(text, offset)) || joins) {
            m_lengths.resize(firstLength);
            std::size_t tail = 0;
            if (!empty()) {
                tail = m_lengths.back();
                m_lengths.pop_back();
            }
            m_text += text;
            segment(std::string_view(m_text).substr(m_text.size() - text.size() - tail), add);
            return;
        }
        add(offset - begin);
    }
    m_text += text;
}

void CharacterText::clear()
{
    m_text.clear();
    m_lengths.clear();
    m_start = m_first = 0;
}

bool CharacterText::blankAt(std::size_t index, std::size_t offset) const
{
    return m_lengths[index] == 1 && (m_text[offset] == ' ' || m_text[offset] == '\t');
}

std::size_t CharacterText::trimmedCount() const
{
    auto first = m_first;
    for (auto offset = m_start; first < m_lengths.size() && blankAt(first, offset); ++first)
        ++offset;
    auto last = m_lengths.size();
    for (auto offset = m_text.size(); last > first && blankAt(last - 1, offset - 1); --last)
        --offset;
    return last - first;
}

std::string_view CharacterText::lastTrimmedCharacter() const
{
    auto offset = m_text.size();
    for (auto last = m_lengths.size(); last > m_first; --last) {
        if (!blankAt(last - 1, offset - 1))
            return std::string_view(m_text).substr(offset - m_lengths[last - 1], m_lengths[last - 1]);
        --offset;
    }
    return {};
}

void CharacterText::keepLast(std::size_t limit)
{
    while (count() > limit)
        m_start += m_lengths[m_first++];
    // Compacted when half is unused, so that each byte is moved once on average.
    if (m_first > 64 && m_first > m_lengths.size() / 2) {
        m_text.erase(0, m_start);
        m_lengths.erase(m_lengths.begin(), m_lengths.begin() + static_cast<std::ptrdiff_t>(m_first));
        m_start = m_first = 0;
    }
}

std::vector<std::string> piecesOf(std::string_view text, std::size_t most)
{
    UErrorCode status = U_ZERO_ERROR;
    auto const root = icu::Locale::getRoot();
    std::unique_ptr<icu::BreakIterator> const sentences(icu::BreakIterator::createSentenceInstance(root, status));
    std::unique_ptr<icu::BreakIterator> const words(icu::BreakIterator::createLineInstance(root, status));
    std::vector<std::string> pieces;
    std::size_t begin = 0;
    std::size_t end = 0;
    auto const cut = [&] {
        if (auto const piece = trimWhitespace(text.substr(begin, end - begin)); !piece.empty())
            pieces.emplace_back(piece);
        begin = end;
    };
    for (auto const sentence : boundariesOf(text, *sentences)) {
        if (sentence - begin > most)
            cut();
        if (sentence - begin > most) {
            auto const first = begin;
            for (auto const word : boundariesOf(text.substr(first, sentence - first), *words)) {
                if (first + word - begin > most)
                    cut();
                end = first + word;
            }
        }
        end = sentence;
    }
    cut();
    return pieces;
}

} // namespace lingrelay
