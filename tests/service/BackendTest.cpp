#include "tests/service/Client.h"
#include "tests/support/TemporaryFolder.h"

#include <cstdlib>

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

/// Posts as the one caller and gives the body; null when it is no JSON or there is no answer.
Json ask(LocalService const& service, std::string const& path, Json const& body = Json::object())
{
    return parseJson(post(service, path, jsonText(body), service.token).second).value_or(Json());
}

TEST(Backend, sessionsAreGrantedAndChargedAsItWasStarted)
{
    LocalService const service({"--seconds", "100"});
    auto const session = ask(service, "/v1/pro/session/start");
    EXPECT_EQ(session.at("remaining_seconds"), 100);
    auto const tick = [&] {
        return ask(service, "/v1/pro/session/tick", {{"session_id", session.at("session_id")}, {"seconds", 60}});
    };
    EXPECT_EQ(tick(),
        (Json{{"remaining_seconds", 40}, {"active_sessions", 1}, {"tts_rpm_budget", session.at("tts_rpm_budget")},
            {"tts_concurrent_budget", session.at("tts_concurrent_budget")}}));
    EXPECT_EQ(tick().at("stop"), true);
    EXPECT_EQ(ask(service, "/v1/pro/balance").at("remaining_seconds"), 0);
    EXPECT_EQ(ask(service, "/v1/pro/session/start").at("code"), "exhausted");
    EXPECT_EQ(ask(LocalService({"--full"}), "/v1/pro/session/start").at("code"), "at_capacity");
}

TEST(Backend, translatesTextForItsCallerWhateverTheLocale)
{
    ::setenv("LC_ALL", "xx_XX.UTF-8", 1); // which no machine has
    LocalService const service;
    ::unsetenv("LC_ALL");
    auto const translated = ask(service, "/v1/translate",
        {{"texts", {"The house is white.", "", "Good morning. How are you?"}}, {"target", "es"}, {"model", "any"}});
    ASSERT_EQ(translated.at("texts").size(), 3U);
    EXPECT_EQ(translated.at("texts")[0], "La casa es blanca.");
    EXPECT_EQ(translated.at("texts")[1], "");
    EXPECT_NE(translated.at("texts")[2].get<std::string>().find("Buenos"), std::string::npos);
    Json const good = {{"texts", {"Hello."}}, {"target", "es"}};
    EXPECT_EQ(post(service, "/v1/translate", jsonText(good), "").first, 401);
    EXPECT_EQ(post(service, "/v1/translate", R"({"texts":["a"],"target":"xx"})", service.token).first, 422);
    for (auto const* body : {"", R"({"target":"es"})", R"({"texts":"a","target":"es"})"})
        EXPECT_EQ(post(service, "/v1/translate", body, service.token).first, 400) << body;
    // An engine that gives nothing is no translation.
    TemporaryFolder const modes;
    writeFile(modes / "en-es.mode", "lt-proc /nowhere.bin");
    ::setenv("LINGRELAY_TRANSLATION_MODES", modes.path().c_str(), 1);
    LocalService const broken;
    ::unsetenv("LINGRELAY_TRANSLATION_MODES");
    EXPECT_EQ(post(broken, "/v1/translate", jsonText(good), broken.token).first, 502);
}

TEST(Backend, summaryAnswersItsCallerOnly)
{
    LocalService const service;
    auto const text = "THEM: Der Preis steigt. → The price of the ticket rises.\nYOU: The ticket is too expensive.";
    Json const good = {{"text", text}, {"target", "en"}, {"style", "full"}};
    EXPECT_EQ(ask(service, "/api/v1/summary", good).at("summary"),
        "THEM\n- The price of the ticket rises.\n\nYOU\n- The ticket is too expensive.");
    auto named = good;
    named["client_token"] = service.token;
    EXPECT_EQ(post(service, "/v1/summary", jsonText(named)).first, 200);

    auto const refusal = [&](std::string const& body, std::string const& bearer) {
        auto const [status, answer] = post(service, "/v1/summary", body, bearer);
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
