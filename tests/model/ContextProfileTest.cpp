#include "model/ContextProfile.h"
#include "base/Registry.h"
#include "base/Text.h"
#include "base/Uuid.h"
#include "config/KeyStore.h"
#include "platform/sim/SimDefaults.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

ContextProfile emptyProfile()
{
    ContextProfile profile;
    profile.id = newUuid();
    return profile;
}

std::vector<std::string> numbered(std::string const& prefix, int count)
{
    std::vector<std::string> texts;
    for (int i = 0; i < count; ++i)
        texts.push_back(prefix + std::to_string(i));
    return texts;
}

TEST(ContextProfileTest, namesAndTopicsLearnedRenderNothing)
{
    auto profile = emptyProfile();
    profile.name = "Weekly";
    profile.autoTopic = "budget";
    EXPECT_TRUE(profile.isEmpty());
    EXPECT_FALSE(profile.payload(""));
    profile.autoTerms = {"Zalo"};
    EXPECT_TRUE(profile.isEmpty());
    EXPECT_EQ(*profile.payload(""), Json({{"terms", {"Zalo"}}}));
}

TEST(ContextProfileTest, fieldsGoOutAsStoredAndInOrder)
{
    auto profile = emptyProfile();
    profile.domain = " ";
    profile.participants = "An, Bình";
    profile.notes = "Agenda";
    EXPECT_EQ(*profile.payload("said before "),
        Json({{"general", {{{"key", "domain"}, {"value", " "}}, {{"key", "participants"}, {"value", "An, Bình"}}}},
            {"text", "Agenda\n\nsaid before "}}));
}

TEST(ContextProfileTest, theTranscriptKeepsItsEndInCharactersAndNotesAreWhole)
{
    auto profile = emptyProfile();
    profile.notes = std::string(20000, 'n');
    std::string transcript;
    for (int i = 0; i < 20000; ++i)
        transcript += i == 7999 ? "x" : "ế";
    auto const text = (*profile.payload(transcript))["text"].get<std::string>();
    EXPECT_EQ(characterCount(text), 20000U + 2 + 12000);
    EXPECT_EQ(text.find('x'), std::string::npos);
}

TEST(ContextProfileTest, theUsersTermsComeFirstAndTheNewestGlossarySurvives)
{
    auto profile = emptyProfile();
    profile.terms = numbered("t", 148);
    profile.terms.insert(profile.terms.begin(), " \t");
    profile.terms.push_back(" Foo\t");
    profile.autoTerms = {"foo", "lost"};
    auto const terms = (*profile.payload(""))["terms"];
    ASSERT_EQ(terms.size(), 150U);
    EXPECT_EQ(terms[148], "Foo");
    EXPECT_EQ(terms[149], "foo");

    for (int i = 0; i < 100; ++i)
        profile.glossary.push_back({newUuid(), " s" + std::to_string(i), "t"});
    profile.glossary.push_back({newUuid(), "blank target", " "});
    auto const glossary = (*profile.payload(""))["translation_terms"];
    ASSERT_EQ(glossary.size(), 80U);
    EXPECT_EQ(glossary[0], Json({{"source", " s20"}, {"target", "t"}}));
}

TEST(ContextProfileTest, theStoredListIsReadWholeOrNotAtAll)
{
    Registry registry;
    auto& store = registry.put<Defaults>(std::make_shared<SimDefaults>());
    EXPECT_TRUE(ContextProfile::load().empty());
    auto first = emptyProfile();
    first.terms = {"a"};
    first.glossary = {{newUuid(), "s", "t"}};
    auto second = emptyProfile();
    second.autoTerms.emplace();
    second.autoTopic = "x";
    ContextProfile::save({first, second});
    EXPECT_EQ(ContextProfile::load(), (std::vector{first, second}));
    auto const stored = *parseJson(store.string("context.profiles").value());
    EXPECT_FALSE(stored[0].contains("autoTerms"));

    for (auto const& [key, bad] : std::map<std::string, Json>{{"topic", nullptr}, {"terms", {1}}, {"id", "1"},
             {"glossary", {{{"source", "s"}, {"target", "t"}}}}, {"autoTerms", "x"}}) {
        auto damaged = stored;
        damaged[1][key] = bad;
        store.set("context.profiles", jsonText(damaged));
        EXPECT_TRUE(ContextProfile::load().empty()) << key;
    }
}

} // namespace

} // namespace lingrelay
