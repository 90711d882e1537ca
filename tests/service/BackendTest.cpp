#include "tests/service/Scripted.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

/// Posts as the one caller and gives the body; null when it is no JSON or there is no answer.
Json ask(ServiceProcess const& service, std::string const& path, Json const& body = Json::object())
{
    return parseJson(post(service.port, path, jsonText(body), service.token).second).value_or(Json());
}

/// Runs one session: every tick reports a minute.
struct Session {
    explicit Session(ServiceProcess const& process) : service(process), first(ask(service, "/v1/pro/session/start")) { }
    Json body(Json const& more) const
    {
        Json result = {{"session_id", first.at("session_id")}, {"seconds", 60}};
        result.update(more);
        return result;
    }
    Json tick(Json const& more = Json::object()) const { return ask(service, "/v1/pro/session/tick", body(more)); }

    ServiceProcess const& service;
    Json first;
};

/// Whether the recogniser's socket takes the key.
bool opens(ServiceProcess const& service, std::string const& key)
{
    Client client(service.port, "/transcribe-websocket", key);
    client.send({{"api_key", key}, {"model", "stt-rt-v5"}, {"audio_format", "pcm_s16le"}, {"sample_rate", 16000},
        {"num_channels", 1}});
    return !client.receive(seconds(0.3)); // the only answer before any sound would be a refusal
}

TEST(Backend, timeRunsOutInTheMiddleOfASession)
{
    ServiceProcess const service({"--seconds", "100"});
    Session const session(service);
    EXPECT_EQ(session.first.at("remaining_seconds"), 100);
    auto const tick = session.tick();
    EXPECT_EQ(tick.at("remaining_seconds"), 40);
    EXPECT_FALSE(tick.contains("stop"));
    EXPECT_EQ(session.tick().at("stop"), true);
    EXPECT_EQ(ask(service, "/v1/pro/balance").at("remaining_seconds"), 0);
    EXPECT_EQ(ask(service, "/v1/pro/session/start").at("code"), "exhausted");
}

TEST(Backend, aFullServiceRefusesAndStillSummarises)
{
    ServiceProcess const service({"--full"});
    EXPECT_EQ(ask(service, "/v1/pro/session/start").at("code"), "at_capacity");
    EXPECT_EQ(ask(service, "/v1/summary", {{"text", "One thing."}, {"style", "brief"}}).at("summary"), "One thing.");
}

TEST(Backend, keysRotateUnaskedAndTheOldOnesOverlap)
{
    Scripted const scripted(Json::parse(R"({"sessions": {"key_overlap_seconds": 0.5, "tts_rpm_budget": 7},
        "http": {"tick": [{"offline": true}, {"request": {"renew": true}}, {"request": {"renew": true}, "answer": {"tts_key": null}},
            {"answer": {"stop": true}}, {"offline": true}]}})"));
    Session const session(*scripted.service);
    EXPECT_EQ(session.first.at("tts_rpm_budget"), 7);
    auto const old = session.first.at("stt_key").get<std::string>();
    EXPECT_FALSE(session.tick().contains("stt_key"));
    auto const rotated = session.tick();
    auto const fresh = rotated.at("stt_key").get<std::string>();
    EXPECT_NE(fresh, old);
    EXPECT_TRUE(rotated.contains("tts_key") && rotated.contains("expires_at"));
    EXPECT_TRUE(opens(*scripted.service, old));
    std::this_thread::sleep_for(std::chrono::milliseconds(600));
    EXPECT_FALSE(opens(*scripted.service, old));
    EXPECT_TRUE(opens(*scripted.service, fresh));
    auto const lone = session.tick();
    EXPECT_TRUE(lone.contains("stt_key"));
    EXPECT_FALSE(lone.contains("tts_key"));
    EXPECT_EQ(session.tick().at("stop"), true);
    EXPECT_FALSE(session.tick().contains("stop")); // told by the script, not by the account
    EXPECT_EQ(scripted.record().back().at("event"), "tick");
}

TEST(Backend, ticksFailInEveryWayAndAreNotCharged)
{
    Scripted const scripted(Json::parse(R"({"http": {"tick": [{"status": 502, "body": {"error": "x"}},
        {"text": "<html>", "type": "text/html"}, {"drop": true}, {"silence": true}, {"delay_ms": 200, "offline": true}]}})"));
    auto const& service = *scripted.service;
    Session const session(service);
    auto const before = session.first.at("remaining_seconds").get<int>();
    auto const text = jsonText(session.body(Json::object()));
    EXPECT_EQ(post(service.port, "/v1/pro/session/tick", text, service.token).first, 502);
    auto const raw = fmt::format("POST /v1/pro/session/tick HTTP/1.1\r\nAuthorization: Bearer {}\r\n"
                                 "Content-Length: {}\r\n\r\n{}",
        service.token, text.size(), text);
    auto const html = sendRaw(service.port, raw);
    EXPECT_NE(html.find("Content-Type: text/html\r\n"), std::string::npos) << html;
    EXPECT_TRUE(html.ends_with("\r\n\r\n<html>")) << html;
    EXPECT_EQ(post(service.port, "/v1/pro/session/tick", text, service.token).first, 0);
    EXPECT_EQ(sendRaw(service.port, raw), ""); // nothing within its second
    EXPECT_EQ(session.tick({{"seconds", 300}}).at("remaining_seconds"), before - 300);
}

TEST(Backend, translatesTextForItsCallerWhateverTheLocale)
{
    ::setenv("LC_ALL", "xx_XX.UTF-8", 1); // which no machine has
    ServiceProcess const service;
    ::unsetenv("LC_ALL");
    auto const translated = ask(service, "/v1/translate",
        {{"texts", {"The house is white.", "", "Good morning. How are you?"}}, {"target", "es"}, {"model", "any"}});
    ASSERT_EQ(translated.at("texts").size(), 3U);
    EXPECT_EQ(translated.at("texts")[0], "La casa es blanca.");
    EXPECT_EQ(translated.at("texts")[1], "");
    EXPECT_NE(translated.at("texts")[2].get<std::string>().find("Buenos"), std::string::npos);
    Json const good = {{"texts", {"Hello."}}, {"target", "es"}};
    EXPECT_EQ(post(service.port, "/v1/translate", jsonText(good), "").first, 401);
    EXPECT_EQ(post(service.port, "/v1/translate", R"({"texts":["a"],"target":"xx"})", service.token).first, 422);
    for (auto const* body : {"", R"({"target":"es"})", R"({"texts":"a","target":"es"})"})
        EXPECT_EQ(post(service.port, "/v1/translate", body, service.token).first, 400) << body;
    // An engine that gives nothing is no translation.
    TemporaryFolder const modes;
    std::ofstream(modes / "en-es.mode") << "lt-proc /nowhere.bin";
    ::setenv("LINGRELAY_TRANSLATION_MODES", modes.path().c_str(), 1);
    ServiceProcess const broken;
    ::unsetenv("LINGRELAY_TRANSLATION_MODES");
    EXPECT_EQ(post(broken.port, "/v1/translate", jsonText(good), broken.token).first, 502);
}

TEST(Backend, summaryAnswersItsCallerOnly)
{
    ServiceProcess const service;
    auto const text = "THEM: Der Preis steigt. → The price of the ticket rises.\nYOU: The ticket is too expensive.";
    Json const good = {{"text", text}, {"target", "en"}, {"style", "full"}};
    EXPECT_EQ(ask(service, "/api/v1/summary", good).at("summary"),
        "THEM\n- The price of the ticket rises.\n\nYOU\n- The ticket is too expensive.");
    auto named = good;
    named["client_token"] = service.token;
    EXPECT_EQ(post(service.port, "/v1/summary", jsonText(named)).first, 200);

    auto const refusal = [&](std::string const& body, std::string const& bearer) {
        auto const [status, answer] = post(service.port, "/v1/summary", body, bearer);
        EXPECT_FALSE(Json::parse(answer).at("error").get<std::string>().empty());
        return status;
    };
    EXPECT_EQ(refusal(jsonText(good), ""), 401);
    EXPECT_EQ(refusal(jsonText(good), service.token + "x"), 401);
    for (auto const* body : {"", "[]", "{\"text\": ", "{}", R"({"text": 1, "style": "brief"})",
             R"({"text": "a", "style": "long"})", R"({"text": "a"})", "{\"text\": \"\xff\", \"style\": \"full\"}"})
        EXPECT_EQ(refusal(body, service.token), 400) << body;
    EXPECT_EQ(ask(service, "/v1/summary", {{"text", " \n "}, {"style", "full"}}).at("summary"), "");
    EXPECT_EQ(
        ask(service, "/v1/summary", {{"text", "Well."}, {"style", "full"}, {"target", 5}}).at("summary"), "Well.");
}

} // namespace
} // namespace lingrelay::service
