#include "base/Text.h"

#include <random>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

TEST(Text, charactersAreWhatAReaderCounts)
{
    std::pair<std::string_view, std::size_t> const cases[] = {
        {"", 0}, {"abc", 3}, {"Tiếng Việt", 10}, // precomposed
        {"Tie\u0302\u0301ng Vie\u0323\u0302t", 10}, // with combining marks
        {"a\u0301", 1}, {"\r\n", 1}, {"a\r\nb\rc\n", 6}, {"\n\r", 2},
        {"👩‍👩‍👧‍👦!", 2}, // a family joined by U+200D
        {"👍🏽", 1}, // with a skin tone
        {"🇻🇳🇺🇸", 2}, {"🇻🇳🇺", 2}, {"한국", 2}, {"\u1112\u1161\u11AB", 1}, // one syllable in three jamo
        {"日本語、です。", 7}, {"か\u3099", 1}, // voicing mark of its own
        {"नमस्ते", 3}, // a conjunct counts once
        {"e\u200D", 1}, {"©\uFE0F", 1},
        {"\u0600"
         "1",
            1}, // an Arabic number sign takes the digit in
    };
    for (auto const& [text, count] : cases)
        EXPECT_EQ(characterCount(text), count) << text;
    EXPECT_GT(characterCount("\xFF\xC3(\xE2\x82"), 0u); // broken bytes count somehow and harm nobody
}

/// Pieces chosen for joining their neighbours, put together at random: however the text arrives, it counts the same.
TEST(Text, appendingPieceByPieceEqualsTheWhole)
{
    std::vector<std::string> const pieces{"a", "Z", " ", "\t", ".", "\r", "\n", "\u0301", "\u0323", "\u200D", "é", "ế",
        "ữ", "👩", "👧", "🏽", "❤", "\uFE0F", "🇻", "🇳", "\u1112", "\u1161", "\u11AB", "한", "日", "か", "\u3099", "न",
        "स", "\u094D", "\u0947", "\u0600", "©", "…", "\u00AD", "1", "\uFEFF", "\u0E33", "ก"};
    for (unsigned seed = 0; seed < 400; ++seed) {
        std::mt19937 random(seed);
        std::string whole;
        CharacterText parts;
        std::string part;
        for (int i = 0; i < 40; ++i) {
            part += pieces[random() % pieces.size()];
            if (random() % 2 == 0) {
                whole += part;
                parts.append(std::exchange(part, {}));
            }
        }
        whole += part;
        parts.append(part);
        CharacterText once;
        once.append(whole);
        ASSERT_EQ(parts.text(), whole);
        ASSERT_EQ(parts.count(), once.count()) << "seed " << seed << ": " << whole;
        ASSERT_EQ(parts.trimmedCount(), characterCount(trimBlanks(whole))) << "seed " << seed << ": " << whole;
        ASSERT_EQ(parts.lastTrimmedCharacter(), once.lastTrimmedCharacter()) << "seed " << seed;

        // Dropping the front keeps whole characters and the count of the rest.
        auto const limit = random() % 30;
        parts.keepLast(limit);
        ASSERT_EQ(parts.count(), std::min<std::size_t>(limit, once.count()));
        ASSERT_TRUE(whole.ends_with(parts.text()));
        parts.append("x");
        ASSERT_TRUE(parts.text().ends_with("x"));
    }
}

TEST(Text, trimmingTakesBlanksOrAllWhiteSpace)
{
    EXPECT_EQ(trimBlanks(" \t a b \t"), "a b");
    EXPECT_EQ(trimBlanks("\na "), "\na");
    EXPECT_EQ(trimBlanks(" \t"), "");
    EXPECT_EQ(trimWhitespace("\r\n \u00A0\u3000a b\u2003\u0085\n"), "a b");
    EXPECT_EQ(trimWhitespace("\n\u3000 "), "");
    EXPECT_EQ(trimWhitespace("\xFFx\xE2\x80"), "\xFFx\xE2\x80");
}

TEST(Text, wordsAreRunsOfLettersMarksAndDigits)
{
    EXPECT_EQ(wordsOf("Hello, WORLD-42! don't"), (std::vector<std::string>{"hello", "world", "42", "don", "t"}));
    EXPECT_EQ(wordsOf("Tiếng Việt: ĐÂY"), (std::vector<std::string>{"tiếng", "việt", "đây"}));
    EXPECT_EQ(wordsOf("नमस्ते"), std::vector<std::string>{"नमस्ते"});
    EXPECT_TRUE(wordsOf(" …—!").empty());
}

TEST(Text, brokenUtf8IsNoticed)
{
    EXPECT_TRUE(isUtf8("aé日👍"));
    for (std::string_view const bytes :
        {"\xC3", "\xC3(", "\x80", "\xC0\xAF", "\xED\xA0\x80", "\xF5\x80\x80\x80", "a\xFF"})
        EXPECT_FALSE(isUtf8(bytes));
}

TEST(Text, piecesEndWithSentencesAndElseWithWords)
{
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(piecesOf("One. Two! Three is long.", 10), (Pieces{"One. Two!", "Three is", "long."}));
    EXPECT_EQ(piecesOf("  \n ", 10), Pieces{});
    EXPECT_EQ(piecesOf("unbreakablelongword and", 10), (Pieces{"unbreakablelongword", "and"}));
    EXPECT_EQ(piecesOf("今日は。明日も。", 12), (Pieces{"今日は。", "明日も。"}))
        << "no spaces stand between sentences";
}

} // namespace

} // namespace lingrelay
