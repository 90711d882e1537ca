#include "tests/support/World.h"

#include "base/Base64.h"
#include "speech/SonioxTTS.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

/// Runs one operation at a time and keeps what came of it.
class SonioxTTSTest : public testing::Test {
protected:
    ~SonioxTTSTest() override
    {
        m_tasks.cancel();
        m_world.time.runReady();
    }
    static Task<void> run(SonioxTTSTest& test, Task<SonioxTTS::Outcome> operation)
    {
        test.outcome = co_await operation;
        test.ended = true;
    }
    void stream(std::string text)
    {
        ended = false;
        heard.clear();
        m_tasks.spawn(run(*this, m_tts.stream(std::move(text), "es", "Maya", 0.2, collect())));
        m_world.time.advance(seconds(0.1));
    }
    SonioxTTS::OnAudio collect()
    {
        return [this](std::string const& pcm) { heard.push_back(pcm); };
    }
    void answer(std::string const& text)
    {
        peer().sendText(text);
        m_world.time.advance(seconds(0.1));
    }
    SimPeer& peer() { return *m_world.network.peers().back(); }
    static std::string audio(std::string const& pcm, std::string const& more = "")
    {
        return R"({"audio":")" + encodeBase64(pcm) + "\"" + more + "}";
    }

    World m_world;
    SonioxTTS m_tts{m_world.network};
    TaskGroup m_tasks{m_world.pipelineScheduler};
    std::vector<std::string> heard;
    SonioxTTS::Outcome outcome;
    bool ended = false;
};

TEST_F(SonioxTTSTest, aClauseIsOneConfigurationOneTextAndOneSocket)
{
    m_world.defaults.set("k.soniox", "key");
    stream(" Hola,\n amigo \n");
    auto const sent = peer().data(SimPeer::Kind::text);
    ASSERT_EQ(sent.size(), 2U);
    auto const config = *parseJson(sent[0]);
    auto const id = config["stream_id"].get<std::string>();
    EXPECT_EQ(config,
        Json({{"api_key", "key"}, {"model", "tts-rt-v2"}, {"language", "es"}, {"voice", "Maya"},
            {"audio_format", "pcm_s16le"}, {"sample_rate", 24000}, {"speed", 0.7}, {"stream_id", id}}));
    EXPECT_EQ(*parseJson(sent[1]), Json({{"text", "Hola,\n amigo"}, {"text_end", true}, {"stream_id", id}}));
    EXPECT_EQ(peer().request.bearer, "key");

    answer(audio("ab"));
    peer().sendBinary(audio("cd"));
    answer(audio("ef", R"(,"audio_end":true)"));
    EXPECT_EQ(heard, (std::vector<std::string>{"ab", "cd", "ef"}));
    EXPECT_TRUE(ended && !outcome);
    EXPECT_EQ(peer().closeCode, 1001);
    EXPECT_TRUE(m_world.time.idle());
}

TEST_F(SonioxTTSTest, oddMessagesAreSkippedAndEitherEndEnds)
{
    stream("x");
    for (auto const* text : {"", "junk", "[]", "{}", R"({"audio":""})", R"({"audio":7})", R"({"audio":"***"})",
             R"({"audio_end":false})", R"({"audio_end":"yes"})", "\xFF"})
        answer(text);
    EXPECT_FALSE(ended);
    EXPECT_TRUE(heard.empty());
    answer(R"({"audio_end":false,"terminated":true})");
    EXPECT_TRUE(ended && !outcome);
}

TEST_F(SonioxTTSTest, failuresKeepTheServicesWording)
{
    struct Case {
        char const* frame;
        int code;
        char const* message;
    };
    for (auto const& [frame, code, message] : {
             Case{R"({"error_code":429,"error_message":"Too many Concurrent streams"})", 429,
                 "Voice service: Too many Concurrent streams"},
             Case{R"({"error_code":"busy","audio":"AAAA","audio_end":true})", -1, "Voice service: busy"},
             Case{R"({"error_code":503,"error_message":7})", 503, "Voice service: 503"},
         }) {
        stream("x");
        answer(frame);
        ASSERT_TRUE(ended && outcome);
        EXPECT_EQ(outcome->code, code);
        EXPECT_EQ(outcome->message, message);
        EXPECT_TRUE(heard.empty());
        EXPECT_EQ(peer().closeCode, 1001);
    }
    stream("x");
    peer().drop();
    m_world.time.advance(seconds(0.1));
    EXPECT_TRUE(ended && outcome);
}

TEST_F(SonioxTTSTest, aServiceThatNeverAnswersFailsAfterFifteenSecondsAndOneThatFallsSilentAfterTwentyFive)
{
    auto const failsAfter = [this](double limit) {
        m_world.time.advance(seconds(limit - 0.2));
        EXPECT_FALSE(ended);
        m_world.time.advance(seconds(0.2));
        EXPECT_TRUE(ended && outcome && outcome->kind == Error::Kind::timedOut) << limit;
        EXPECT_TRUE(peer().gone);
    };
    stream("answers no text");
    failsAfter(15);
    stream("falls silent");
    answer(audio("ab"));
    failsAfter(25);
    m_world.network.onConnect = [](SimPeer&) {};
    stream("answers no connect");
    failsAfter(15);
}

} // namespace

} // namespace lingrelay
