#include "base/Base64.h"
#include "base/Json.h"
#include "base/JsonView.h"
#include "base/Time.h"

#include <random>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

TEST(Base64, knownTextsAndRandomBytesComeBack)
{
    EXPECT_EQ(encodeBase64(""), "");
    EXPECT_EQ(encodeBase64("f"), "Zg==");
    EXPECT_EQ(encodeBase64("fo"), "Zm8=");
    EXPECT_EQ(encodeBase64("foobar"), "Zm9vYmFy");
    EXPECT_EQ(decodeBase64("+/+/"), "\xFB\xFF\xBF");
    std::mt19937 random(1);
    for (std::size_t size = 0; size < 200; ++size) {
        std::string bytes(size, '\0');
        for (auto& c : bytes)
            c = static_cast<char>(random());
        EXPECT_EQ(decodeBase64(encodeBase64(bytes)), bytes);
    }
}

TEST(Base64, otherTextIsRefused)
{
    for (std::string_view const text : {"Z", "Zg", "Zg=", "Zg===", "=", "====", "Z===", "Zg==Zg==", "Zm9v\n", " Zm9",
             "Zm9-", "Zm9_", "Zm 9", "Zm9\xFF"})
        EXPECT_FALSE(decodeBase64(text)) << text;
}

TEST(Time, isoDatesAreReadInAllTheirForms)
{
    auto const noon = parseIso8601("2026-03-01T12:30:05Z");
    ASSERT_TRUE(noon);
    EXPECT_EQ(iso8601(*noon), "2026-03-01T12:30:05Z");
    EXPECT_EQ(parseIso8601("2026-03-01T14:30:05+02:00"), noon);
    EXPECT_EQ(parseIso8601("2026-03-01T07:00:05-0530"), noon);
    EXPECT_EQ(parseIso8601("2026-03-01T12:30:05.25Z"), *noon + std::chrono::milliseconds(250));
    EXPECT_EQ(parseIso8601("2026-03-01T12:30:05.123456789123Z").value() - *noon, std::chrono::nanoseconds(123456789));
    EXPECT_EQ(iso8601(*parseIso8601("1969-12-31T23:59:59.5Z")), "1969-12-31T23:59:59Z");
    EXPECT_TRUE(parseIso8601("2024-02-29T00:00:00Z"));
    for (std::string_view const text :
        {"", "2026-03-01", "2026-03-01T12:30:05", "2026-3-01T12:30:05Z", "2026-02-29T00:00:00Z", "2026-13-01T00:00:00Z",
            "2026-03-01T24:00:00Z", "2026-03-01T00:60:00Z", "2026-03-01T12:30:05.Z", "2026-03-01T12:30:05Zx",
            "2026-03-01T12:30:05+2:00", "2026-03-01T12:30:05+24:00", "+026-03-01T12:30:05Z"})
        EXPECT_FALSE(parseIso8601(text)) << text;
}

TEST(JsonReader, takesWhatTheWholeReaderTakes)
{
    JsonReader reader;
    for (std::string const text : {R"({"a": 1})", R"([])", "null", R"({"a": "\ud83c\udf99 \u00e9\n"})", "", " ", "{",
             R"({"a": 1,})", R"({"a": "\ud83c"})", "{\"a\": \"\xff\"}", R"({"a": 01})", R"({"a": 1e999})",
             R"({"a": 1} x)", "\xef\xbb\xbf{}"})
        EXPECT_EQ(reader.read(text).has_value(), parseJson(text).has_value()) << text;
    EXPECT_FALSE(reader.read(std::string(100'000, '[')));
}

TEST(JsonReader, membersThatAreMissingOrOfAnotherTypeAreAbsent)
{
    JsonReader reader;
    EXPECT_TRUE(reader.read(R"({"long gone": 1})"));
    auto const value = reader.read(
        R"({"text": "é \"x\"", "whole": -3, "part": 1.0, "large": 18446744073709551615, "yes": true, "list": [1, "two", {}]})");
    ASSERT_TRUE(value && value->isObject());
    EXPECT_EQ(value->string("text"), "é \"x\"");
    EXPECT_EQ(value->integer("whole"), -3);
    EXPECT_EQ(value->boolean("yes"), true);
    for (auto const* key : {"part", "large", "text", "yes", "list", "none", "long gone"})
        EXPECT_FALSE(value->integer(key)) << key;
    for (auto const* key : {"whole", "yes", "list", "none"})
        EXPECT_FALSE(value->string(key)) << key;
    EXPECT_FALSE(value->boolean("whole"));
    EXPECT_FALSE(value->items());
    auto const items = value->member("list")->items();
    ASSERT_EQ(items->size(), 3u);
    EXPECT_EQ((*items)[0].printed() + (*items)[1].printed() + (*items)[2].printed(), "1two{}");
    EXPECT_FALSE((*items)[0].member("text"));
}

TEST(Json, wrongTypesCountAsAbsent)
{
    auto const json = *parseJson(R"({"s":"x","i":3,"d":2.5,"b":true,"n":null,"o":{},"big":99999999999999999999})");
    EXPECT_EQ(jsonString(json, "s"), "x");
    EXPECT_EQ(jsonInteger(json, "i"), 3);
    EXPECT_EQ(jsonNumber(json, "i"), 3.0);
    EXPECT_EQ(jsonNumber(json, "d"), 2.5);
    EXPECT_EQ(jsonBool(json, "b"), true);
    for (std::string const key : {"s", "i", "d", "b", "n", "o", "big", "absent"}) {
        EXPECT_EQ(jsonString(json, key.c_str()).has_value(), key == "s") << key;
        EXPECT_EQ(jsonInteger(json, key.c_str()).has_value(), key == "i") << key;
        EXPECT_EQ(jsonNumber(json, key.c_str()).has_value(), key == "i" || key == "d" || key == "big") << key;
        EXPECT_EQ(jsonBool(json, key.c_str()).has_value(), key == "b") << key;
    }
    for (auto const* other : {"[]", "3", "\"s\"", "null"})
        EXPECT_FALSE(jsonMember(*parseJson(other), "s"));
}

TEST(Json, brokenTextIsNothingAndDeepTextIsHarmless)
{
    for (std::string_view const text : {"", "{", "{\"a\":}", "{} x", "nul", "\"\xFF\"", "{\"a\":1,}"})
        EXPECT_FALSE(parseJson(text)) << text;
    EXPECT_FALSE(parseJson(std::string(100000, '[') + std::string(100000, ']')));
    EXPECT_TRUE(parseJson("[\"\\\"" + std::string(1000, '[') + "\"," + std::string(100, '[') + std::string(101, ']')));
    EXPECT_EQ(jsonText(Json("a\xFF")), "\"a\xEF\xBF\xBD\"");
    EXPECT_EQ(jsonPrinted(Json("busy")) + jsonPrinted(Json(503)), "busy503");
}

} // namespace

} // namespace lingrelay
