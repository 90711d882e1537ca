#include "text/Summarizer.h"

#include "base/Text.h"
#include "tests/support/World.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

class SummarizerTest : public testing::Test {
protected:
    SummarizerTest()
    {
        m_world.network.onExchange = [this](SimExchange const& exchange) {
            requests.push_back(exchange.request());
            if (answer)
                exchange.answer(*answer);
        };
    }
    ~SummarizerTest() override
    {
        m_tasks.cancel();
        m_world.time.runReady();
    }
    static Task<void> run(SummarizerTest& test, std::string text)
    {
        test.result = co_await Summarizer::summarize(std::move(text), "vi", "caller", "brief");
    }
    /// What comes of a summary within `wait` seconds; nothing while it waits.
    std::optional<Result<std::string>> summarize(std::string text, double wait = 1)
    {
        result.reset();
        m_tasks.spawn(run(*this, std::move(text)));
        m_world.time.advance(seconds(wait));
        return result;
    }
    Error failure(int status, std::string body)
    {
        answer = HttpResponse{status, {}, std::move(body)};
        auto const outcome = summarize("Hello");
        EXPECT_TRUE(outcome && !*outcome);
        return outcome && !*outcome ? outcome->error() : Error();
    }
    Json sent() const { return *parseJson(requests.back().body); }

    World m_world;
    TaskGroup m_tasks{m_world.main};
    std::vector<HttpRequest> requests;
    std::optional<Result<HttpResponse>> answer;
    std::optional<Result<std::string>> result;
};

TEST_F(SummarizerTest, asksTheBackendWithTheCallersIdentity)
{
    answer = HttpResponse{200, {}, R"({"summary":"They met.","error":"not looked at"})"};
    EXPECT_EQ(**summarize(" \n\u00A0Hello there.\u3000\t"), "They met.");
    ASSERT_EQ(requests.size(), 1U);
    EXPECT_EQ(requests[0].method, "POST");
    EXPECT_EQ(requests[0].url, "http://127.0.0.1:3/v1/summary");
    EXPECT_EQ(requests[0].headers, Net::jsonRequest("", {}, "caller").headers);
    EXPECT_EQ(sent(), Json({{"text", "Hello there."}, {"target", "vi"}, {"style", "brief"}}));
    answer = HttpResponse{200, {}, R"({"summary":""})"};
    EXPECT_EQ(**summarize("Hello"), "");
}

TEST_F(SummarizerTest, nothingSaidAsksNobody)
{
    for (auto const* text : {"", " \t\r\n", "\u2003\u2028"})
        EXPECT_EQ(**summarize(text), "");
    EXPECT_TRUE(requests.empty());
}

TEST_F(SummarizerTest, aLongConversationIsSummarisedFromItsEnd)
{
    std::string text;
    for (int i = 0; i < 30000; ++i)
        text += i % 100 == 99 ? "👨‍👩‍👧" : i % 2 ? "e\u0301" : "x";
    summarize("start " + text + "\n");
    auto const kept = sent()["text"].get<std::string>();
    EXPECT_EQ(characterCount(kept), 24000U);
    EXPECT_TRUE(text.ends_with(kept));
    summarize(std::string(24000, 'a') + "   ");
    EXPECT_EQ(sent()["text"], std::string(24000, 'a')) << "trimmed before it is cut";
}

TEST_F(SummarizerTest, refusalsCarryTheServicesTextOrTheStatus)
{
    EXPECT_EQ(failure(500, R"({"error":"Out of words"})"), (Error{Error::Kind::other, "Out of words", 500}));
    EXPECT_EQ(failure(500, R"({"error":5,"summary":"half"})").message, "Server error 500");
    EXPECT_EQ(failure(502, "<html>Bad gateway</html>").message, "Server error 502");
    EXPECT_EQ(failure(200, R"({"summary":null})"), (Error{Error::Kind::other, "Server error 200", 200}));
    EXPECT_EQ(failure(201, R"({"summary":"text"})").code, 201);
    EXPECT_EQ(failure(200, "[\"summary\"]").message, "Server error 200");
    m_world.language.setModelLanguage("vi");
    EXPECT_EQ(failure(503, "").message, "Lỗi máy chủ 503");
    EXPECT_EQ(requests.size(), 7U) << "nothing is tried again";
}

TEST_F(SummarizerTest, aFailedConnectionsOwnErrorIsPassedOn)
{
    Error const lost{Error::Kind::networkConnectionLost, "The connection was lost."};
    answer = lost;
    EXPECT_EQ(summarize("Hello")->error(), lost);
    answer.reset();
    EXPECT_FALSE(summarize("Hello", 89.9));
    m_world.time.advance(seconds(0.2));
    ASSERT_TRUE(result);
    EXPECT_EQ(result->error().kind, Error::Kind::timedOut);
    EXPECT_EQ(requests.size(), 2U);
}

} // namespace

} // namespace lingrelay
