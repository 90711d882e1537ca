#include "service/engines/Sentences.h"

#include "base/Text.h"

#include <algorithm>
#include <cctype>

#include <unicode/filteredbrk.h>
#include <unicode/utext.h>

namespace lingrelay::service {

namespace {

using Iterator = std::unique_ptr<icu::BreakIterator>;

constexpr std::size_t longestSentence = 600; ///< bytes

/// What ICU's own lists leave out, because it may end a sentence as well; in speech it hardly does.
constexpr char16_t const* titles[]
    = {u"Mr.", u"Mrs.", u"Ms.", u"Dr.", u"Prof.", u"St.", u"Sr.", u"Sra.", u"TP.", u"TS.", u"ThS.", u"GS.", u"BS."};

Iterator sentenceIterator(std::string const& language)
{
    UErrorCode status = U_ZERO_ERROR;
    Iterator plain(icu::BreakIterator::createSentenceInstance(icu::Locale::getRoot(), status));
    std::unique_ptr<icu::FilteredBreakIteratorBuilder> const builder(
        icu::FilteredBreakIteratorBuilder::createInstance(icu::Locale(language.c_str()), status));
    if (U_FAILURE(status))
        return plain;
    for (auto const* title : titles)
        builder->suppressBreakAfter(title, status);
    return Iterator(builder->build(plain.release(), status));
}

Iterator wordIterator()
{
    UErrorCode status = U_ZERO_ERROR;
    return Iterator(icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
}

/// Calls `found(piece)` for what lies between two breaks, one after the other.
template <class F> void eachPiece(icu::BreakIterator& iterator, std::string_view text, F found)
{
    UErrorCode status = U_ZERO_ERROR;
    UText source = UTEXT_INITIALIZER;
    utext_openUTF8(&source, text.data(), static_cast<std::int64_t>(text.size()), &status);
    iterator.setText(&source, status);
    auto begin = iterator.first();
    for (auto end = iterator.next(); end != icu::BreakIterator::DONE; begin = end, end = iterator.next())
        found(text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
    utext_close(&source);
}

void addTrimmed(std::vector<std::string_view>& list, std::string_view text)
{
    text = trimWhitespace(text);
    if (!text.empty())
        list.push_back(text);
}

} // namespace

SentenceCutter::SentenceCutter(std::string const& language)
    : m_sentenceBreaks(sentenceIterator(language))
    , m_wordBreaks(wordIterator())
{
}

std::vector<std::string_view> SentenceCutter::sentences(std::string_view text) const
{
    std::vector<std::string_view> sentences;
    auto const addLong = [&](std::string_view sentence) {
        std::string_view piece = sentence.substr(0, 0);
        eachPiece(*m_wordBreaks, sentence, [&](std::string_view word) {
            if (piece.size() + word.size() > longestSentence) {
                addTrimmed(sentences, piece);
                piece = word.substr(0, 0);
            }
            piece = {piece.data(), piece.size() + word.size()};
        });
        addTrimmed(sentences, piece);
    };
    for (auto const line : linesOf(text)) {
        eachPiece(*m_sentenceBreaks, line, [&](std::string_view sentence) {
            if (sentence.size() > longestSentence)
                addLong(sentence);
            else
                addTrimmed(sentences, sentence);
        });
    }
    return sentences;
}

std::vector<std::string> SentenceCutter::words(std::string_view text) const
{
    std::string lower;
    icu::UnicodeString::fromUTF8({text.data(), static_cast<std::int32_t>(text.size())})
        .toLower(icu::Locale::getRoot())
        .toUTF8String(lower);
    std::vector<std::string> words;
    eachPiece(*m_wordBreaks, lower, [&](std::string_view piece) {
        if (m_wordBreaks->getRuleStatus() >= UBRK_WORD_NONE_LIMIT)
            words.emplace_back(piece);
    });
    return words;
}

bool hasWords(std::string_view text)
{
    return std::any_of(
        text.begin(), text.end(), [](unsigned char letter) { return letter > 127 || std::isalnum(letter) != 0; });
}

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        auto const end = text.find_first_of("\r\n");
        addTrimmed(lines, text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    return lines;
}

} // namespace lingrelay::service
