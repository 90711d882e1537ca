#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lingrelay {

/// All text is UTF-8. A "character" is an extended grapheme cluster, what a reader takes for one. Any thread.

/// Without spaces and tabs at both ends.
std::string_view trimBlanks(std::string_view text);
/// Without white space and line ends (of Unicode) at both ends.
std::string_view trimWhitespace(std::string_view text);

/// What becomes of line ends and tabs in text from outside.
enum class Breaks { kept, blanks };

/// Without control characters, which could drive a terminal and which formats of captions do not take.
std::string withoutControls(std::string_view text, Breaks breaks);

bool isUtf8(std::string_view text);

std::size_t characterCount(std::string_view text);

/// Lower-case words: runs of letters, marks and digits in the Unicode sense.
std::vector<std::string> wordsOf(std::string_view text);

/// The text cut into pieces of at most `most` bytes, at sentence ends where there are any, else between words. The
/// pieces are trimmed of white space and none is empty; a word longer than that stays whole.
std::vector<std::string> piecesOf(std::string_view text, std::size_t most);

/// Text that knows its characters: appending costs what is appended, not what is there.
class CharacterText {
public:
    void append(std::string_view text);
    void clear();

    std::string_view text() const { return std::string_view(m_text).substr(m_start); }
    bool empty() const { return m_lengths.size() == m_first; }
    std::size_t count() const { return m_lengths.size() - m_first; }

    /// Number of characters without the spaces and tabs at both ends.
    std::size_t trimmedCount() const;
    /// The last character that is neither a space nor a tab; empty when there is none.
    std::string_view lastTrimmedCharacter() const;

    /// Drops characters at the front so that at most `limit` remain.
    void keepLast(std::size_t limit);

private:
    bool blankAt(std::size_t index, std::size_t offset) const;

    std::string m_text;
    std::vector<std::uint16_t> m_lengths; ///< bytes of each character; very long ones are split
    std::size_t m_start = 0; ///< first byte in use
    std::size_t m_first = 0; ///< first entry of m_lengths in use
};

} // namespace lingrelay
