#include "service/engines/Summary.h"
#include "base/Text.h"
#include "service/engines/Sentences.h"

#include <random>
#include <set>

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

std::vector<std::string> lines(std::string const& text)
{
    auto const views = linesOf(text);
    return {views.begin(), views.end()};
}

/// The sentences of a brief recap, each checked to stand in the text, behind the one before, and once.
std::vector<std::string> checked(std::string const& text, std::string const& recap)
{
    auto const sentences = lines(recap);
    std::size_t from = 0;
    for (auto const& sentence : sentences) {
        auto const at = text.find(sentence, from);
        EXPECT_NE(at, std::string::npos) << sentence << "\nis not there, or not in order, in\n" << text;
        from = at == std::string::npos ? from : at + sentence.size();
    }
    EXPECT_EQ(std::set<std::string>(sentences.begin(), sentences.end()).size(), sentences.size()) << recap;
    return sentences;
}

struct Article {
    char const* language;
    char const* text;
    char const* offTopic; ///< a part of the sentence that has nothing to do with the rest
    char const* telling; ///< what the recap must speak of
};

struct SummaryOfText : testing::TestWithParam<Article> { };

TEST_P(SummaryOfText, tellsTheSubjectAndLeavesOutTheRest)
{
    auto const& article = GetParam();
    auto const recap = summarize(article.text, SummaryStyle::brief, article.language);
    EXPECT_EQ(checked(article.text, recap).size(), 3u) << recap;
    EXPECT_EQ(recap.find(article.offTopic), std::string::npos) << recap;
    EXPECT_NE(recap.find(article.telling), std::string::npos) << recap;
    EXPECT_TRUE(recap.find("fear the") == std::string::npos || recap.find("fear those") == std::string::npos) << recap;
    EXPECT_EQ(recap, summarize(article.text, SummaryStyle::brief, "no language \xff at all")) << "languages only help";
}

INSTANTIATE_TEST_SUITE_P(Languages, SummaryOfText,
    testing::Values(
        Article{"en",
            "The council closes the old bridge for repairs. Cracks were found in a pillar of the bridge. The repairs "
            "of "
            "the bridge take eighteen months. My lazy grey cat likes sleeping upstairs on two warm woollen blankets. A "
            "ferry crosses the river while the bridge is "
            "closed. The shops near the bridge fear the repairs. The shops near the bridge fear those repairs.",
            "cat", "bridge"},
        Article{"vi",
            "Hôm nay chúng ta bàn về việc ra mắt ứng dụng. Việc ra mắt ứng dụng phải dời lại vì phần thanh toán. Phần "
            "thanh toán cần hai tuần để sửa. Mùa mưa năm ngoái con mèo già ngủ trên ghế gỗ cạnh bếp. Khách hàng cần "
            "biết ngày ra mắt ứng dụng dời lại. "
            "Tôi gửi thông báo cho khách hàng hôm nay.",
            "mưa", "ra mắt ứng dụng"},
        Article{"zh",
            "今天我们讨论手机应用的发布计划。应用原定三月一日发布。支付模块没有通过检查，所以应用的发布推迟。外面"
            "下着很大的雨。我们要告诉客户应用的发布推迟到三月中旬。支付模块两个星期才能修好。",
            "雨", "发布"},
        Article{"ja",
            "新しいアプリの公開について話します。アプリの公開は三月の予定でした。支払い機能の問題で公開が遅れます。猫が"
            "寝ています。お客様にアプリの公開が遅れることを伝えます。支払い機能の修正に二週間かかります。",
            "猫", "公開"}),
    [](auto const& article) { return std::string(article.param.language); });

constexpr auto meeting = "THEM: Hola → Good morning to all of you.\n"
                         "YOU: The launch of the app must wait for the payment module.\n"
                         "THEM: a → b → How long does the payment module take?\n"
                         "YOU: Yes.\n"
                         "YOU: Dr. Chen repairs the payment module in two weeks.\n"
                         "THEM: ... → Then tell the customers about the new launch of the app.\n"
                         "YOU: I tell the customers about the launch today.\n"
                         "YOU: I tell the customers about the launch today.\n"
                         "THEM: Sólo esto → \n";

TEST(Summary, fullListsWhatEachSpeakerSaid)
{
    auto const recap = summarize(meeting, SummaryStyle::full, "en");
    EXPECT_EQ(recap,
        "THEM\n"
        "- Good morning to all of you.\n"
        "- How long does the payment module take?\n"
        "- Then tell the customers about the new launch of the app.\n"
        "\n"
        "YOU\n"
        "- The launch of the app must wait for the payment module.\n"
        "- Dr. Chen repairs the payment module in two weeks.\n"
        "- I tell the customers about the launch today.");
    // Other words for the speakers, and a line that goes on with the one before.
    EXPECT_EQ(summarize("BẠN: Xin chào. → Hello there, Ann.\nHỌ: Good day.\nto you, too, Bob.", SummaryStyle::full),
        "BẠN\n- Hello there, Ann.\n\nHỌ\n- to you, too, Bob.");
    EXPECT_EQ(summarize("YOU: from A → B → von A → B", SummaryStyle::full), "YOU\n- von A → B");
    EXPECT_EQ(summarize("YOU: Only this said → ", SummaryStyle::full), "YOU\n- Only this said");
    EXPECT_EQ(summarize("YOU: Yes.\nTHEM: No.", SummaryStyle::full), "YOU\n- Yes.\n\nTHEM\n- No.");
}

TEST(Summary, briefNamesNobodyAndRepeatsNothing)
{
    auto const recap = checked(meeting, summarize(meeting, SummaryStyle::brief, "en"));
    EXPECT_EQ(recap.size(), 3u);
    for (auto const& sentence : recap) {
        EXPECT_EQ(sentence.find("YOU"), std::string::npos);
        EXPECT_EQ(sentence.find("→"), std::string::npos);
    }
    EXPECT_EQ(summarize("We go home now. We go home now! WE GO HOME NOW.", SummaryStyle::brief), "We go home now.");
    EXPECT_EQ(summarize("YOU: See you then.\nTHEM: See you then.", SummaryStyle::brief), "See you then.");
    EXPECT_EQ(summarize("Remember: no milk.\nBuy bread.\nGo home: now.", SummaryStyle::brief),
        "Remember: no milk.\nGo home: now."); // no conversation; two words say less than three
}

TEST(Summary, longTextCountsFromItsEnd)
{
    std::mt19937 random(3);
    std::string talk;
    while (talk.size() < 23000) {
        talk += random() % 2 ? "YOU:" : "THEM:";
        for (int i = 0; i < 9; ++i)
            talk += fmt::format(" word{}", random() % 150);
        talk += ".\n";
    }
    // The front is cut within the name, so that "ST" would be one of the speakers.
    std::string const first = "LOST: A word of long ago.\n";
    talk = first + talk + std::string(24002 - first.size() - talk.size(), '.');
    auto const recap = lines(summarize(talk, SummaryStyle::full, "en"));
    std::vector<std::string> speakers;
    std::copy_if(recap.begin(), recap.end(), std::back_inserter(speakers),
        [](std::string const& line) { return !line.starts_with("- "); });
    std::sort(speakers.begin(), speakers.end());
    EXPECT_EQ(speakers, (std::vector<std::string>{"THEM", "YOU"}));
    EXPECT_EQ(recap.size(), 22u) << "ten sentences each";
}

TEST(SentenceCutter, endsSentencesWhereReadersDo)
{
    SentenceCutter const english("en");
    using List = std::vector<std::string_view>;
    EXPECT_EQ(english.sentences(" Mr. Fox pays 3.50 to Dr. Hen. Really? No. \n Well"),
        (List{"Mr. Fox pays 3.50 to Dr. Hen.", "Really?", "No.", "Well"}));
    EXPECT_EQ(SentenceCutter("vi").sentences("Tôi ở TP. Huế. Còn bạn?"), (List{"Tôi ở TP. Huế.", "Còn bạn?"}));
    EXPECT_EQ(english.sentences("你好。今天好吗？"), (List{"你好。", "今天好吗？"}));
    EXPECT_EQ(english.words("It's ÉTÉ, 3.50!"), (std::vector<std::string>{"it's", "été", "3.50"}));
    EXPECT_GT(english.words("今天我们讨论发布计划").size(), 3u);
}

} // namespace
} // namespace lingrelay::service
