#include "tools/WordErrors.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

using Words = std::vector<std::string>;

TEST(WordErrors, readsEveryFormOfTranscript)
{
    auto const reference = parseReference("<s> he was ill disposed </s> (clip-0880)\n\nPlain, line!\n");
    ASSERT_EQ(reference.size(), 2u);
    EXPECT_EQ(reference[0].id, "clip-0880");
    EXPECT_EQ(reference[0].words, (Words{"he", "was", "ill", "disposed"}));
    EXPECT_EQ(reference[1].words, (Words{"plain", "line"}));

    EXPECT_EQ(parseHypothesis(R"({"lines":[{"source":"Don't go.","translation":"no"},{"source":"Well"}]})"),
        (Words{"dont", "go", "well"}));
    EXPECT_EQ(parseHypothesis(
                  "[10:00:00] THEM\n  Don\u2019t go.\n  \u2192 No vayas\n\n[10:00:03] THEM\n  Well\n  \u2192 Bien\n"),
        (Words{"dont", "go", "well"}));
    EXPECT_EQ(parseHypothesis("Ill-disposed, Élan"), (Words{"ill", "disposed", "élan"}));
    EXPECT_EQ(parseHypothesis(""), Words{});
    for (auto const* broken : {"{", R"({"lines":3})", R"({"text":"x"})"})
        EXPECT_FALSE(parseHypothesis(broken)) << broken;
}

TEST(WordErrors, countsTheCheapestAlignmentForEachUtterance)
{
    std::vector<Utterance> const reference{{"a", {"one", "two", "three"}}, {"b", {"four", "five"}}};
    auto const compare = [&](Words const& heard) { return compareWords(reference, heard); };
    auto const perfect = compare({"one", "two", "three", "four", "five"});
    EXPECT_EQ(perfect[0], (WordErrors{3, 0, 0, 0}));
    EXPECT_EQ(perfect[1].rate(), 0);

    auto const wrong = compare({"one", "too", "three", "and", "five"});
    EXPECT_EQ(wrong[0], (WordErrors{3, 1, 0, 0}));
    EXPECT_EQ(wrong[1], (WordErrors{2, 1, 0, 0}));

    auto const shifted = compare({"one", "three", "four", "and", "five", "six"});
    EXPECT_EQ(shifted[0], (WordErrors{3, 0, 1, 0}));
    EXPECT_EQ(shifted[1], (WordErrors{2, 0, 0, 2}));
    EXPECT_EQ(compare({"well", "one", "two", "three", "four", "five"})[0], (WordErrors{3, 0, 0, 1}));

    auto const nothing = compare({});
    EXPECT_EQ(nothing[0].deletions + nothing[1].deletions, 5u);
    EXPECT_EQ(nothing[0].rate(), 1);
}

} // namespace

} // namespace lingrelay
