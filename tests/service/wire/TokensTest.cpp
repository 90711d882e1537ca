#include "service/wire/Tokens.h"

#include "base/Text.h"

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

std::string joined(Json const& tokens)
{
    std::string text;
    for (auto const& token : tokens)
        text += token.at("text").get<std::string>();
    return text;
}

std::vector<SpokenWord> words(std::initializer_list<char const*> texts, std::int64_t startMs = 0)
{
    std::vector<SpokenWord> list;
    for (auto const* text : texts) {
        list.push_back({text, startMs, startMs + 300, 0.9});
        startMs += 400;
    }
    return list;
}

TEST(WordPieces, joinToTheWordAndNeverCutACharacter)
{
    for (std::string const word : {"a", "morning", "respectable", "señorita", "corazón", "приветствие",
             "你好世界朋友们好", "extraordinarily", "hello,"}) {
        std::string text;
        for (auto const& piece : wordPieces(word)) {
            EXPECT_TRUE(isUtf8(piece)) << word;
            EXPECT_FALSE(piece.empty()) << word;
            text += piece;
        }
        EXPECT_EQ(text, word);
    }
    EXPECT_EQ(wordPieces("morning"), (std::vector<std::string>{"morn", "ing"}));
    EXPECT_EQ(wordPieces("day").size(), 1u);
    EXPECT_GE(wordPieces("respectable").size(), 3u);
}

TEST(TokenWriter, blanksLeadWordsButNotTheStreamsFirst)
{
    TokenWriter writer({.speakers = true, .translated = true, .sourceLanguage = "en", .targetLanguage = "es"});
    auto const first = writer.originals(words({"good", "morning", "i", "said"}), Finality::final, Ending::sentence);
    EXPECT_EQ(joined(first), "Good morning I said.");
    EXPECT_EQ(joined(writer.originals(words({"he", "i'm"}), Finality::final, Ending::open)), " He I'm");
    EXPECT_EQ(joined(writer.translation("Buenos  días.", Finality::final)), "Buenos días.");
    EXPECT_EQ(joined(writer.translation("Sí.", Finality::final)), " Sí.");
    EXPECT_EQ(first[0].at("speaker"), "1");
    EXPECT_EQ(first[0].at("translation_status"), "original");
}

TEST(TokenWriter, guessesChangeNothingAndPiecesKeepTheSentenceOpen)
{
    TokenWriter writer({.translated = true, .sourceLanguage = "en", .targetLanguage = "es"});
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(joined(writer.originals(words({"had", "he"}), Finality::partial, Ending::open)), "Had he");
    EXPECT_EQ(joined(writer.translation("Tuvo", Finality::partial)), "Tuvo");
    EXPECT_EQ(joined(writer.originals(words({"had", "he"}), Finality::final, Ending::open)), "Had he");
    EXPECT_TRUE(writer.sentenceOpen());
    EXPECT_EQ(writer.sentence(words({"married"}), Ending::sentence), "married.");
    // Silence after a piece still ends its sentence.
    EXPECT_EQ(joined(writer.originals({}, Finality::final, Ending::sentence)), ".");
    EXPECT_FALSE(writer.sentenceOpen());
    EXPECT_EQ(joined(writer.originals({}, Finality::final, Ending::sentence)), "");
    EXPECT_EQ(joined(writer.translation("Tuvo", Finality::final)), "Tuvo");
}

} // namespace
} // namespace lingrelay::service
