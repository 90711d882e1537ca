#include "cli/terminal/TextLayout.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace lingrelay {

namespace {

struct Character {
    UChar32 code;
    int columns;
    std::size_t start;
    std::size_t end;
};

int columnsOf(UChar32 code)
{
    auto const type = u_charType(code);
    if (type == U_NON_SPACING_MARK || type == U_ENCLOSING_MARK || type == U_FORMAT_CHAR || type == U_CONTROL_CHAR)
        return 0;
    auto const width = u_getIntPropertyValue(code, UCHAR_EAST_ASIAN_WIDTH);
    return width == U_EA_WIDE || width == U_EA_FULLWIDTH ? 2 : 1;
}

/// Calls `visit` for each code point until it returns false; bytes that are not UTF-8 count as U+FFFD.
template <class F> void eachCharacter(std::string_view text, F visit)
{
    auto const length = static_cast<std::int32_t>(text.size());
    for (std::int32_t i = 0; i < length;) {
        auto const start = i;
        UChar32 code = 0;
        U8_NEXT_OR_FFFD(text.data(), i, length, code);
        if (!visit(Character{code, columnsOf(code), static_cast<std::size_t>(start), static_cast<std::size_t>(i)}))
            return;
    }
}

} // namespace

int columnsOf(std::string_view text)
{
    int columns = 0;
    eachCharacter(text, [&](Character const& character) {
        columns += character.columns;
        return true;
    });
    return columns;
}

std::string printable(std::string_view text)
{
    std::string result;
    eachCharacter(text, [&](Character const& character) {
        if (u_charType(character.code) == U_CONTROL_CHAR)
            result += ' ';
        else if (character.code == 0xFFFD)
            result += "\uFFFD";
        else
            result += text.substr(character.start, character.end - character.start);
        return true;
    });
    return result;
}

std::vector<std::string> wrap(std::string_view text, int columns)
{
    std::vector<std::string> rows;
    std::size_t rowStart = 0;
    std::size_t breakEnd = 0; ///< where the row would end at its last good break
    std::size_t breakNext = 0; ///< where the next row would go on
    int rowColumns = 0;
    int columnsAtBreak = 0; ///< of the row, up to breakNext
    bool afterWide = false;
    auto const cut = [&](std::size_t end, std::size_t next, int rest) {
        rows.emplace_back(text.substr(rowStart, end - rowStart));
        rowStart = breakEnd = breakNext = next;
        rowColumns = rest;
    };
    eachCharacter(text, [&](Character const& character) {
        bool const blank = character.code == ' ';
        if (!blank && (afterWide || character.columns == 2) && character.columns > 0 && character.start > rowStart) {
            breakEnd = breakNext = character.start;
            columnsAtBreak = rowColumns;
        }
        if (!blank && rowColumns + character.columns > columns && character.start > rowStart) {
            if (breakEnd > rowStart)
                cut(breakEnd, breakNext, rowColumns - columnsAtBreak);
            else
                cut(character.start, character.start, 0);
        }
        rowColumns += character.columns;
        if (blank) {
            // Blanks at a break belong to neither row.
            if (breakNext != character.start || breakEnd == rowStart)
                breakEnd = character.start;
            breakNext = character.end;
            columnsAtBreak = rowColumns;
        }
        afterWide = character.columns == 2 || (afterWide && character.columns == 0);
        return true;
    });
    auto rest = text.substr(rowStart);
    while (!rest.empty() && rest.back() == ' ')
        rest.remove_suffix(1);
    if (!rest.empty())
        rows.emplace_back(rest);
    return rows;
}

std::string shortened(std::string_view text, int columns)
{
    if (columnsOf(text) <= columns)
        return std::string(text);
    std::size_t end = 0;
    int used = 1;
    eachCharacter(text, [&](Character const& character) {
        used += character.columns;
        if (used > columns)
            return false;
        end = character.end;
        return true;
    });
    return columns < 1 ? "" : std::string(text.substr(0, end)) + "…";
}

} // namespace lingrelay
