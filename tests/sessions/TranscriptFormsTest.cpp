#include "sessions/TranscriptForms.h"

#include "base/Json.h"
#include "base/Registry.h"
#include "config/L10n.h"

#include <cstdlib>

using namespace lingrelay;
using Direction = AppModel::Direction;

namespace {

constexpr Date startedAt = std::chrono::sys_days(std::chrono::year(2026) / 3 / 1) + std::chrono::hours(12);

AppModel::Line line(double at, std::string source, std::string translation, Direction direction = Direction::listen,
    std::string speaker = {})
{
    auto const time = startedAt + std::chrono::microseconds(static_cast<std::int64_t>(at * 1e6));
    return {"00000000-0000-4000-8000-000000000001", time, direction, std::move(source), std::move(translation),
        std::move(speaker)};
}

class TranscriptFormsTest : public testing::Test {
protected:
    TranscriptFormsTest()
    {
        ::setenv("TZ", "UTC", 1);
        ::tzset();
    }

    Registry registry;
    UiLanguage& language = registry.put(std::make_shared<UiLanguage>());
};

TEST_F(TranscriptFormsTest, textKeepsEveryRowAndSpeaksTheInterfaceLanguage)
{
    TranscriptForms::Lines const lines{
        line(5, "Good morning.", "Buenos días."), line(65, "", "Hola.", Direction::speak)};
    EXPECT_EQ(TranscriptForms::text(lines),
        "[12:00:05] THEM\n  Good morning.\n  → Buenos días.\n\n[12:01:05] YOU\n  \n  → Hola.\n");
    EXPECT_EQ(TranscriptForms::sessionText(lines), "THEM: Good morning. → Buenos días.\nYOU: Hola.");
    language.setModelLanguage("vi");
    auto const vietnamese = TranscriptForms::text(lines);
    EXPECT_NE(vietnamese.find("] HỌ\n"), std::string::npos);
    EXPECT_NE(vietnamese.find("] BẠN\n"), std::string::npos);
    EXPECT_EQ(TranscriptForms::text({}), "");
}

TEST_F(TranscriptFormsTest, subtitlesTruncateToThousandthsAndLastThreeSeconds)
{
    TranscriptForms::Lines const lines{line(3661.5, "a", "Uno"), line(0.0019999, "b", "Dos"), line(-2, "c", "Tres")};
    EXPECT_EQ(TranscriptForms::srt(lines, startedAt),
        "1\n01:01:01,500 --> 01:01:04,500\nUno\n\n2\n00:00:00,001 --> 00:00:03,001\nDos\n\n"
        "3\n00:00:00,000 --> 00:00:03,000\nTres\n");
    EXPECT_EQ(TranscriptForms::srt({}, startedAt), "");
}

TEST_F(TranscriptFormsTest, webSubtitlesNameSpeakersAndHoldNoMarkupOfTheText)
{
    TranscriptForms::Lines const lines{
        line(1, "", "1 < 2 & <b>3\n\n4", Direction::listen, "2"), line(2, "", "Sin nombre.")};
    EXPECT_EQ(TranscriptForms::vtt(lines, startedAt),
        "WEBVTT\n\n1\n00:00:01.000 --> 00:00:04.000\n<v Speaker 2>1 &lt; 2 &amp; &lt;b&gt;3  4\n"
        "\n2\n00:00:02.000 --> 00:00:05.000\nSin nombre.\n");
    EXPECT_EQ(TranscriptForms::vtt({}, startedAt), "WEBVTT\n");
}

TEST_F(TranscriptFormsTest, jsonIsTheArchivesFormAndSurvivesBrokenText)
{
    auto const text = TranscriptForms::json({"ID", startedAt, startedAt + std::chrono::milliseconds(61900), "speak",
        "auto", "vi", "Board \"A\"", {line(1.9, "Broken \xC3", "Ok", Direction::speak, "1")}});
    auto const parsed = parseJson(text);
    ASSERT_TRUE(parsed);
    EXPECT_EQ(*parsed, Json::parse(R"({"id":"ID","startedAt":"2026-03-01T12:00:00Z","endedAt":"2026-03-01T12:01:01Z",
        "mode":"speak","sourceLang":"auto","targetLang":"vi","profileName":"Board \"A\"","lines":[{
        "id":"00000000-0000-4000-8000-000000000001","at":"2026-03-01T12:00:01Z","direction":"speak",
        "source":"Broken �","translation":"Ok","speaker":"1"}]})"));
    EXPECT_EQ(text.substr(0, 10), "{\n  \"id\": "); // pretty printed, the identity first
}

} // namespace
