#include "service/wire/SessionBook.h"

#include <gtest/gtest.h>

namespace lingrelay::service {
namespace {

struct Book : testing::Test {
    Book() { plan.remainingSeconds = 1000; }

    Json request(Json more = Json::object())
    {
        more["client_token"] = "T";
        return more;
    }
    Json start() { return book().start(request(), now, date); }
    SessionBook& book()
    {
        if (!m_book)
            m_book.emplace("T", plan);
        return *m_book;
    }

    SessionBook::Plan plan;
    Instant now{};
    Date date = *parseIso8601("2026-03-01T12:00:00Z");

private:
    std::optional<SessionBook> m_book;
};

TEST_F(Book, startHandsOutKeysThatEndAfterTheirHour)
{
    auto const answer = start();
    auto const stt = answer.at("stt_key").get<std::string>();
    EXPECT_NE(answer.at("stt_key"), answer.at("tts_key"));
    EXPECT_EQ(answer.at("expires_at"), "2026-03-01T13:00:00Z");
    EXPECT_EQ(answer.at("remaining_seconds"), 1000);
    EXPECT_EQ(answer.at("active_sessions"), 1);
    EXPECT_TRUE(book().accepts("T", now));
    EXPECT_TRUE(book().accepts(stt, now + seconds(3599)));
    EXPECT_FALSE(book().accepts(stt, now + seconds(3600)));
    EXPECT_FALSE(book().accepts("", now));
    EXPECT_NE(start().at("session_id"), answer.at("session_id"));
}

TEST_F(Book, strangersAreRefusedEverywhere)
{
    for (auto const& wrong :
        {Json::object(), Json{{"client_token", "t"}}, Json{{"client_token", 1}}, Json("T"), Json()}) {
        EXPECT_EQ(book().start(wrong, now, date).at("code"), "unauthorized");
        EXPECT_EQ(book().tick(wrong, now, date).at("code"), "unauthorized");
        EXPECT_EQ(book().end(wrong, now).at("code"), "unauthorized");
        EXPECT_EQ(book().balance(wrong).at("code"), "unauthorized");
    }
    EXPECT_EQ(book().tick(request({{"session_id", "none"}}), now, date).at("code"), "unknown_session");
}

TEST_F(Book, keysOutliveTheirRenewalAndTheirSessionByAMoment)
{
    auto const first = start();
    auto const old = first.at("stt_key").get<std::string>();
    Json tick = request({{"session_id", first.at("session_id")}, {"seconds", 1}});
    EXPECT_FALSE(book().tick(tick, now, date).contains("stt_key"));
    tick["renew"] = true;
    now += seconds(3000);
    auto const fresh = book().tick(tick, now, date).at("stt_key").get<std::string>();
    EXPECT_NE(fresh, old);
    EXPECT_TRUE(book().accepts(old, now + seconds(59)));
    EXPECT_FALSE(book().accepts(old, now + seconds(61)));
    EXPECT_TRUE(book().accepts(fresh, now + seconds(3599)));
    Json const end = request({{"session_id", first.at("session_id")}, {"seconds", 10}});
    auto const answer = book().end(end, now);
    EXPECT_EQ(answer.at("remaining_seconds"), 988);
    EXPECT_EQ(answer.at("active_sessions"), 0);
    EXPECT_EQ(book().end(end, now).at("code"), "unknown_session");
    EXPECT_TRUE(book().accepts(fresh, now + seconds(59)));
    EXPECT_FALSE(book().accepts(fresh, now + seconds(61)));
}

TEST_F(Book, aSessionThatRanOutOfTimeStopsForGood)
{
    plan.remainingSeconds = 100;
    auto const first = start();
    auto const other = start();
    auto const key = first.at("stt_key").get<std::string>();
    Json tick = request({{"session_id", first.at("session_id")}, {"seconds", 60}});
    EXPECT_FALSE(book().tick(tick, now, date).contains("stop"));
    tick["renew"] = true;
    auto const last = book().tick(tick, now, date);
    EXPECT_EQ(last.at("stop"), true);
    EXPECT_FALSE(last.contains("stt_key"));
    EXPECT_EQ(last.at("active_sessions"), 1);
    // The answer may have been lost: asking again must neither start it anew nor keep its keys good.
    now += seconds(50);
    EXPECT_EQ(book().tick(tick, now, date).at("stop"), true);
    EXPECT_TRUE(book().accepts(key, now));
    EXPECT_FALSE(book().accepts(key, now + seconds(11)));
    EXPECT_EQ(
        book().tick(request({{"session_id", other.at("session_id")}, {"seconds", 0}}), now, date).at("stop"), true);
    EXPECT_EQ(start().at("code"), "exhausted");
}

TEST_F(Book, aFullServiceTakesTheNextOnceOneIsGone)
{
    plan.mostSessions = 1;
    auto const first = start();
    auto const refused = start();
    EXPECT_EQ(refused.at("code"), "at_capacity");
    EXPECT_FALSE(refused.at("error").get<std::string>().empty());
    EXPECT_FALSE(refused.contains("stt_key"));
    book().end(request({{"session_id", first.at("session_id")}}), now);
    auto const second = start();
    ASSERT_TRUE(second.contains("stt_key"));
    // A client that died gives its place back, one that reports keeps it.
    now += seconds(3000);
    book().tick(request({{"session_id", second.at("session_id")}, {"seconds", 50}}), now, date);
    now += seconds(3000);
    EXPECT_EQ(start().at("code"), "at_capacity");
    now += seconds(601);
    EXPECT_TRUE(start().contains("stt_key"));
}

} // namespace
} // namespace lingrelay::service
