#include "service/Arguments.h"
#include "service/script/ScriptPlayer.h"

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

TEST(Script, entriesServeInOrderAndTheLastOneStays)
{
    auto const script = Script::parse(R"({
        "limits": {"stt_streams": 2},
        "stt": [{"accept": {"refuse": true, "delay_ms": 50}}, {"accept": {"http_status": 503}}, {"offline": true}],
        "http": {"start": [{"status": 500, "text": "x"}, {"body": {"error": "full"}}]}})");
    ASSERT_TRUE(script) << script.error().message;
    EXPECT_EQ(script->limits.sttStreams, 2);
    EXPECT_TRUE(script->stt(0)->refuse);
    EXPECT_EQ(script->stt(0)->acceptDelayMs, 50);
    EXPECT_EQ(script->stt(1)->httpStatus, 503);
    EXPECT_TRUE(script->stt(2)->offline);
    EXPECT_TRUE(script->stt(99)->offline);
    EXPECT_EQ(script->tts(0), nullptr);
    EXPECT_TRUE(script->needsRecogniser());
    EXPECT_EQ(script->answer("start", 0)->body, "x");
    EXPECT_EQ(script->answer("start", 7)->body, R"({"error":"full"})");
    EXPECT_EQ(script->answer("tick", 0), nullptr);
}

TEST(Script, mistakesAreNamedWithTheirPlace)
{
    auto const complaint = [](char const* text) {
        auto const script = Script::parse(text);
        return script ? "none" : script.error().message;
    };
    EXPECT_EQ(complaint("{"), "it is not JSON");
    EXPECT_EQ(complaint("[]"), "the script must be an object");
    EXPECT_EQ(complaint(R"({"sst": []})"), "the script has an unknown key \"sst\"");
    EXPECT_EQ(complaint(R"({"stt": []})"), "stt must be a list with at least one entry");
    EXPECT_EQ(complaint(R"({"stt": [{"steps": [{"drop": true}, {"at_ms": "1"}]}]})"),
        "stt[0], step 1: \"at_ms\" must be a number from 0");
    EXPECT_EQ(complaint(R"({"tts": [{"steps": [{"drop": true, "close": 1000}]}]})"),
        "tts[0], step 0 does two things: make two steps of it");
    EXPECT_EQ(
        complaint(R"({"stt": [{"steps": [{"text_base64": "?"}]}]})"), "stt[0], step 0: \"text_base64\" must be Base64");
    EXPECT_EQ(complaint(R"({"limits": {"stt_streams": -1}})"), "\"limits\": \"stt_streams\" must be a number from 0");
    EXPECT_EQ(complaint(R"({"http": {"stop": [{}]}})"), "\"http\" has an unknown key \"stop\"");
    EXPECT_EQ(complaint(R"({"http": {"tick": [{}, {"drop": true, "answer": {}}]}})"),
        "http.tick[1] answers in two ways: make two entries of it");
    EXPECT_EQ(complaint(R"({"http": {"tick": [{"request": 1}]}})"), "http.tick[0]: \"request\" must be an object");
    EXPECT_EQ(complaint(R"({"sessions": {"secs": 1}})"), "\"sessions\" has no \"secs\"");
}

TEST(Script, stepsWaitForAllTheirTriggers)
{
    auto const script = Script::parse(R"({"stt": [{"steps": [
        {"at_ms": 100, "after_audio_ms": 500, "drop": true}, {"after_texts": 2, "after_end": true, "drop": true}, {"drop": true},
        {"after_bytes": 10, "drop": true}]}]})");
    ASSERT_TRUE(script) << script.error().message;
    auto const& steps = script->stt(0)->steps;
    EXPECT_FALSE(triggered(steps[0], {.sinceFirstMs = 100}));
    EXPECT_FALSE(triggered(steps[0], {.sinceFirstMs = 99, .audioMs = 500}));
    EXPECT_TRUE(triggered(steps[0], {.sinceFirstMs = 100, .audioMs = 500}));
    EXPECT_FALSE(triggered(steps[1], {.texts = 2}));
    EXPECT_TRUE(triggered(steps[1], {.texts = 3, .ended = true}));
    EXPECT_TRUE(triggered(steps[2], {}));
    EXPECT_FALSE(triggered(steps[3], {.bytes = 9}));
}

TEST(Script, errorsTakeTheFormOfTheirProtocolAndAnyCode)
{
    auto const script = Script::parse(R"({"stt": [{"steps": [{"error": {"code": 503, "message": "m"}}]}],
        "tts": [{"steps": [{"error": {"code": "busy"}}, {"tone_ms": 100}]}]})");
    ASSERT_TRUE(script) << script.error().message;
    EXPECT_EQ(Json::parse(script->stt(0)->steps[0].data),
        (Json{{"tokens", Json::array()}, {"error_code", 503}, {"error_message", "m"}}));
    auto const tts = filledIn(script->tts(0)->steps[0].data, "a\"b");
    EXPECT_EQ(Json::parse(tts), (Json{{"stream_id", "a\"b"}, {"error_code", "busy"}}));
    EXPECT_EQ(Json::parse(script->tts(0)->steps[1].data).at("audio").get<std::string>().size(), 6400u);
}

TEST(Arguments, wrongOnesSayWhatToDo)
{
    auto const complaint = [](std::vector<std::string> const& words) {
        auto const arguments = Arguments::parse(words);
        return arguments ? "none" : arguments.error().message;
    };
    EXPECT_EQ(complaint({"--port", "70000"}), "--port takes a number from 0 to 65535, not \"70000\"");
    EXPECT_EQ(complaint({"--port"}), "--port needs a value: see lingrelay-service --help");
    EXPECT_EQ(complaint({"--engines", "script"}), "--engines script needs a script: add --script FILE");
    EXPECT_EQ(complaint({"--script", "/no/such"}), "the script /no/such cannot be read: No such file or directory");
    EXPECT_EQ(complaint({"--seconds", "-5"}), "--seconds takes a number from 0 to 1000000000, not \"-5\"");
    EXPECT_EQ(complaint({"--full=1"}), "unknown argument \"1\": see lingrelay-service --help");
    EXPECT_EQ(complaint({"--prot", "1"}), "unknown argument \"--prot\": see lingrelay-service --help");
    EXPECT_EQ(Arguments::parse({"--port=81", "--engines=offline"})->port, 81);
    auto const arguments = Arguments::parse({"--full", "--seconds", "30"});
    EXPECT_EQ(arguments->sessions.remainingSeconds, 30);
    EXPECT_EQ(arguments->sessions.mostSessions, 0u);
}

} // namespace
} // namespace lingrelay::service
