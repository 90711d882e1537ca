#include "text/TextTranslator.h"

#include "tests/support/World.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

/// Both roads answer what a test says; nothing means that the connection fails.
class TextTranslatorTest : public testing::Test {
protected:
    using Answer = std::optional<HttpResponse>;

    TextTranslatorTest()
    {
        m_world.registry.put(std::make_shared<HostsInUse>(
            Hosts{"ws://127.0.0.1:1", "ws://127.0.0.1:2", "", "http://127.0.0.1:3", "http://127.0.0.1:4"}));
        m_world.network.onExchange = [this](SimExchange const& exchange) {
            requests.push_back(exchange.request());
            if (silent)
                return;
            auto const& answer = exchange.request().method == "POST" ? backend : publicService;
            exchange.answer(
                answer ? Result<HttpResponse>(*answer) : Error{Error::Kind::cannotConnectToHost, "no connection"});
        };
    }
    static Task<void> run(TextTranslatorTest& test, std::string text, std::string from)
    {
        test.m_result = co_await TextTranslator::translate(std::move(text), std::move(from), "es", "caller");
    }
    Result<std::string> translate(std::string text, std::string from = "en")
    {
        requests.clear();
        m_result.reset();
        m_tasks.spawn(run(*this, std::move(text), std::move(from)));
        m_world.time.advanceUntil([&] { return m_result.has_value(); }, seconds(100.0));
        return *m_result;
    }
    static Answer ok(std::string body) { return HttpResponse{200, {}, std::move(body)}; }

    World m_world;
    TaskGroup m_tasks{m_world.main};
    std::optional<Result<std::string>> m_result;
    std::vector<HttpRequest> requests;
    Answer backend;
    Answer publicService;
    bool silent = false;
};

TEST_F(TextTranslatorTest, theBackendIsAskedFirstAndAlone)
{
    backend = ok(R"({"texts":["Hola."]})");
    EXPECT_EQ(*translate(" \n Hello. \t"), "Hola.");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].url, "http://127.0.0.1:3/v1/translate");
    EXPECT_EQ(*parseJson(requests[0].body), Json({{"texts", {"Hello."}}, {"target", "es"}, {"model", "deepseek"}}));
    using Headers = std::vector<std::pair<std::string, std::string>>;
    EXPECT_EQ(requests[0].headers,
        (Headers{{"Content-Type", "application/json"}, {"User-Agent", Net::userAgent()},
            {"Authorization", "Bearer caller"}}));
    EXPECT_EQ(*translate(" \t\n"), "");
    EXPECT_TRUE(requests.empty());
}

TEST_F(TextTranslatorTest, whatTheBackendDoesNotGiveComesFromThePublicService)
{
    publicService = ok(R"([[["Uno. ","One."],["Dos.","Two."],[null,"x"],"y"],null,"en"])");
    for (auto const& nothing : {Answer(), Answer(HttpResponse{500, {}, R"({"texts":["no"]})"}), ok("oops"),
             ok(R"({"texts":[]})"), ok(R"({"texts":[5]})"), ok(R"({"texts":[""]})"), ok("[]")}) {
        backend = nothing;
        EXPECT_EQ(*translate("One. Two & 50%?"), "Uno. Dos.");
    }
    EXPECT_EQ(requests.back().url,
        "http://127.0.0.1:4/translate_a/single?client=gtx&sl=en&tl=es&dt=t&q=One.%20Two%20%26%2050%25%3F");
    for (auto const* from : {"", "auto"}) {
        ASSERT_TRUE(translate("One.", from));
        EXPECT_NE(requests.back().url.find("&sl=auto&"), std::string::npos);
    }
}

TEST_F(TextTranslatorTest, servicesThatAreSilentHoldTheUserForHalfAMinuteAtMost)
{
    silent = true;
    auto const result = translate("Hello.");
    EXPECT_EQ(result.error().kind, Error::Kind::timedOut);
    EXPECT_NEAR(toSeconds(m_world.time.now().time_since_epoch()), 30, 0.1);
    EXPECT_EQ(requests.size(), 3U) << "the public service is asked anew after 8 s";
}

TEST_F(TextTranslatorTest, onlyFailuresOfThePublicServiceAreTold)
{
    for (auto const* odd : {"{}", "[]", "[5]", "\"text\""}) {
        publicService = ok(odd);
        EXPECT_EQ(*translate("Hello."), "") << odd;
    }
    publicService = ok("<html>");
    EXPECT_FALSE(translate("Hello."));
    publicService = HttpResponse{503, {}, ""};
    auto const failed = translate("Hello.");
    ASSERT_FALSE(failed);
    EXPECT_EQ(failed.error().message, "Translation failed (503).");
    EXPECT_EQ(requests.size(), 3U) << "one retry";
    publicService = HttpResponse{429, {}, ""};
    EXPECT_NE(translate("Hello.").error().message.find("too much"), std::string::npos);
    publicService.reset();
    EXPECT_EQ(translate("Hello.").error().message, "no connection");

    m_world.registry.put(std::make_shared<HostsInUse>(Hosts{"", "", "", "http://127.0.0.1:3"}));
    for (int const status : {422, 429, 200}) { // the backend's own trouble is not the user's
        backend = HttpResponse{status, {}, "{}"};
        requests.clear();
        EXPECT_EQ(translate("Hello.").error().message,
            "Translation failed: this service cannot translate it, and no other is set.");
        EXPECT_EQ(requests.size(), 1U) << "no public service is known";
    }
}

} // namespace

} // namespace lingrelay
