#pragma once

#include "base/Json.h"
#include "service/engines/SpokenWord.h"

#include <string>
#include <string_view>
#include <vector>

namespace lingrelay::service {

enum class Finality { partial, final };
enum class Ending { open, sentence };

/// What the tokens of one stream have in common.
struct TokenStyle {
    bool speakers = false;
    bool translated = false; ///< then originals are marked as such
    std::string sourceLanguage;
    std::string targetLanguage;
};

/// Splits a word into the pieces that tokens hold; joined they give the word. UTF-8 is never cut.
std::vector<std::string> wordPieces(std::string_view word);

/// "i" and its short forms get their capital; the first letter too at the beginning of a sentence.
std::string writtenWord(std::string_view word, bool sentenceStart);

/// The tokens of one stream. Words get a blank in front but for the stream's first; a final word is given out once.
class TokenWriter {
public:
    explicit TokenWriter(TokenStyle style) : m_style(std::move(style)) { }

    /// Non-final tokens change nothing. Final ones count: what follows continues after them, and after a sentence's
    /// end the next word begins with a capital.
    Json originals(std::vector<SpokenWord> const& words, Finality finality, Ending ending);
    Json translation(std::string_view text, Finality finality);

    /// Whether final words were given out whose sentence has not ended.
    bool sentenceOpen() const { return !m_sentenceStart; }

    /// The words as a sentence, for a translator.
    std::string sentence(std::vector<SpokenWord> const& words, Ending ending) const;

    static Json marker(char const* text) { return {{"text", text}, {"is_final", true}}; }

private:
    Json original(
        std::string text, std::int64_t startMs, std::int64_t endMs, double confidence, Finality finality) const;

    TokenStyle m_style;
    bool m_originalBegun = false;
    bool m_translationBegun = false;
    bool m_sentenceStart = true;
    std::int64_t m_lastEndMs = 0; ///< of the final words
};

} // namespace lingrelay::service
