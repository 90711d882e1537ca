#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/brkiter.h>

namespace lingrelay::service {

/// Cuts text where readers of any language would. UTF-8; broken bytes do no harm. One thread at a time.
class SentenceCutter {
public:
    /// `language` is a code such as "en": it tells which full stops are only those of abbreviations.
    explicit SentenceCutter(std::string const& language);

    /// In order and without the white space around them; views into `text`. A line end ends a sentence, too, and one
    /// that goes on for hundreds of bytes is cut between words.
    std::vector<std::string_view> sentences(std::string_view text) const;

    /// In lower case, also of languages that write no spaces between words; numbers are words.
    std::vector<std::string> words(std::string_view text) const;

private:
    std::unique_ptr<icu::BreakIterator> m_sentenceBreaks;
    std::unique_ptr<icu::BreakIterator> m_wordBreaks;
};

/// Whether there is more than marks and white space, so that a translation or a voice can be expected.
bool hasWords(std::string_view text);

/// The lines that hold something, without the white space around them.
std::vector<std::string_view> linesOf(std::string_view text);

} // namespace lingrelay::service
