#include "tests/support/World.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

/// The backend is played by hand: calls are kept, and answered with what was queued, else with an empty object.
class HostedSessionTest : public testing::Test {
protected:
    HostedSessionTest()
    {
        m_world.network.onExchange = [this](SimExchange const& exchange) {
            calls.emplace_back(exchange.request().url.substr(std::string("http://127.0.0.1:3").size()),
                *parseJson(exchange.request().body));
            if (answers.empty())
                return exchange.answer(HttpResponse{200, {}, "{}"});
            exchange.answer(std::exchange(answers.front(), HttpResponse{}));
            answers.pop_front();
        };
    }
    ~HostedSessionTest() override
    {
        m_tasks.cancel();
        m_world.hosted.shutdown();
        m_world.time.runReady();
    }
    static Task<void> startTask(HostedSessionTest& test) { test.failure = co_await test.m_world.hosted.start(); }
    void start(Json const& extra = Json::object())
    {
        Json response{{"session_id", "0123456789"}, {"stt_key", "stt-1"}, {"tts_key", "tts-1"}};
        response.update(extra);
        answer(response);
        begin();
    }
    void begin()
    {
        m_tasks.spawn(startTask(*this));
        wait(0.1);
    }
    void answer(Json const& body, int status = 200) { answers.push_back(HttpResponse{status, {}, jsonText(body)}); }
    void wait(double length) { m_world.time.advance(seconds(length)); }
    std::string inMinutes(double minutes)
    {
        return iso8601(m_world.time.date() + std::chrono::seconds(static_cast<int>(minutes * 60)));
    }

    World m_world;
    HostedSession& m_hosted = m_world.hosted;
    TaskGroup m_tasks{m_world.main};
    std::vector<std::pair<std::string, Json>> calls;
    std::deque<Result<HttpResponse>> answers;
    std::optional<HostedSession::Failure> failure;
};

TEST_F(HostedSessionTest, aStartStoresWhatWasHandedOut)
{
    start({{"remaining_seconds", 1800}, {"tts_rpm_budget", 60}, {"tts_concurrent_budget", 2}});
    EXPECT_FALSE(failure);
    EXPECT_TRUE(m_hosted.active());
    EXPECT_EQ(m_hosted.sttKey(), "stt-1");
    EXPECT_EQ(m_hosted.ttsKey(), "tts-1");
    EXPECT_EQ(m_hosted.budget(), (HostedSession::Budget{60, 2}));
    EXPECT_EQ(m_world.defaults.integer("pro.remainingSeconds"), 1800);
    EXPECT_EQ(calls.at(0).first, "/v1/pro/session/start");
    EXPECT_EQ(calls.at(0).second, Json({{"client_token", "caller"}}));
}

TEST_F(HostedSessionTest, aRefusalPassesTheServicesTextThrough)
{
    answer({{"error", "Come back later"}, {"code", "at_capacity"}}, 403);
    begin();
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->message, "Come back later");
    EXPECT_EQ(failure->code, "at_capacity");
    answers.push_back(HttpResponse{200, {}, "<html>"});
    begin();
    EXPECT_EQ(failure->message, "Could not start a session.");
    EXPECT_EQ(failure->code, "unknown");
    EXPECT_FALSE(m_hosted.active());
}

TEST_F(HostedSessionTest, aServerFaultIsTriedOnceMore)
{
    answer({}, 503);
    start();
    EXPECT_TRUE(calls.size() == 1 && !m_hosted.active());
    wait(0.3);
    EXPECT_EQ(calls.size(), 2U);
    EXPECT_TRUE(m_hosted.active());
    calls.clear();
    answers.push_back(Error{Error::Kind::cannotConnectToHost, "no route"});
    answers.push_back(Error{Error::Kind::cannotConnectToHost, "still no route"});
    begin();
    wait(1);
    EXPECT_EQ(calls.size(), 2U);
    EXPECT_EQ(failure->message, "still no route");
    answers.push_back(Error{Error::Kind::badServerResponse, "nonsense"});
    begin();
    EXPECT_EQ(calls.size(), 3U) << "a final error is not tried again";
}

TEST_F(HostedSessionTest, useIsReportedEachMinuteAndNeverLost)
{
    start();
    calls.clear();
    wait(60);
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].second["seconds"], 60);
    for (int i = 0; i < 4; ++i) // two ticks, each tried twice
        answers.push_back(Error{Error::Kind::timedOut, ""});
    wait(121);
    calls.clear();
    wait(60);
    ASSERT_EQ(calls.size(), 1U);
    EXPECT_EQ(calls[0].second["seconds"], 180);
    m_hosted.end();
    wait(1);
    EXPECT_EQ(calls.back().first, "/v1/pro/session/end");
    EXPECT_FALSE(calls.back().second.contains("renew"));
    EXPECT_FALSE(m_hosted.active());
    EXPECT_TRUE(m_world.time.idle()) << "no timer is left";
}

TEST_F(HostedSessionTest, keysAreRenewedInTheirLastTenMinutesAndOnlyInPairs)
{
    start({{"expires_at", inMinutes(11.5)}});
    calls.clear();
    wait(60);
    EXPECT_FALSE(calls.back().second.contains("renew"));
    answer({{"stt_key", "stt-2"}});
    wait(60);
    EXPECT_EQ(calls.back().second["renew"], true);
    EXPECT_EQ(m_hosted.sttKey(), "stt-1");
    answer({{"stt_key", "stt-3"}, {"tts_key", "tts-3"}, {"expires_at", "unreadable"}});
    wait(60);
    EXPECT_EQ(m_hosted.sttKey() + m_hosted.ttsKey(), "stt-3tts-3");
    wait(49 * 60);
    EXPECT_FALSE(calls.back().second.contains("renew")) << "an hour is assumed";
    wait(2 * 60);
    EXPECT_EQ(calls.back().second["renew"], true);
}

TEST_F(HostedSessionTest, theServerCanStopTheSessionInATickOnly)
{
    int exhausted = 0;
    m_hosted.onExhausted = [&] { ++exhausted; };
    start();
    answer({{"stop", false}, {"tts_rpm_budget", 5}});
    wait(60);
    EXPECT_EQ(exhausted, 0);
    EXPECT_EQ(m_hosted.budget(), HostedSession::Budget()) << "half a budget is none";
    answer({{"stop", true}});
    wait(60);
    EXPECT_EQ(exhausted, 1);
    EXPECT_FALSE(m_hosted.active());
    m_hosted.end();
    wait(600);
    EXPECT_EQ(calls.size(), 3U) << "nothing is reported of a session that is over";
    start();
    answer({{"stop", true}});
    m_hosted.end();
    wait(1);
    EXPECT_EQ(exhausted, 1);
}

TEST_F(HostedSessionTest, aLateAnswerOfAnEarlierSessionChangesNothing)
{
    int exhausted = 0;
    m_hosted.onExhausted = [&] { ++exhausted; };
    start();
    auto const slow = m_world.network.onExchange;
    m_world.backendDelay = 5;
    m_world.answerBackend([](auto const&) {
        return HttpResponse{200, {}, R"({"stop":true,"stt_key":"old","tts_key":"old"})"};
    });
    wait(60.1); // its tick is under way
    m_hosted.end();
    wait(0.1);
    m_world.network.onExchange = slow;
    start({{"session_id", "another"}});
    wait(30);
    EXPECT_EQ(exhausted, 0);
    EXPECT_TRUE(m_hosted.active());
    EXPECT_EQ(m_hosted.sttKey(), "stt-1");
    calls.clear();
    wait(30);
    EXPECT_EQ(calls.at(0).second["seconds"], 60);
}

TEST_F(HostedSessionTest, aTickUnderWayIsReportedBeforeTheEndAndMovesNothingAfterIt)
{
    int exhausted = 0;
    m_hosted.onExhausted = [&] { ++exhausted; };
    start();
    wait(59.8);
    answers.push_back(Error{Error::Kind::timedOut, ""});
    answers.push_back(Error{Error::Kind::timedOut, ""});
    wait(0.15); // the first of its two attempts has failed
    m_hosted.end();
    wait(2);
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(calls[2].first, "/v1/pro/session/tick");
    EXPECT_EQ(calls[3].first, "/v1/pro/session/end");
    EXPECT_EQ(calls[3].second["seconds"], 60) << "what the tick could not report";

    start();
    m_world.backendDelay = 5;
    m_world.answerBackend([](auto const&) {
        return HttpResponse{200, {}, R"({"stop":true,"stt_key":"late","tts_key":"late"})"};
    });
    wait(60);
    m_hosted.end();
    wait(20);
    EXPECT_EQ(exhausted, 0);
    EXPECT_EQ(m_hosted.sttKey(), "stt-1");
}

TEST_F(HostedSessionTest, aSilentBackendIsAskedAnewAfterEightSecondsAndThenGivenUp)
{
    int asked = 0;
    m_world.network.onExchange = [&](SimExchange const&) { ++asked; };
    begin();
    wait(16.1);
    EXPECT_FALSE(failure);
    EXPECT_EQ(asked, 2);
    wait(0.2);
    EXPECT_TRUE(failure);
}

} // namespace

} // namespace lingrelay
