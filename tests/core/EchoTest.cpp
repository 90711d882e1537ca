#include "core/FarEndEcho.h"
#include "tests/support/World.h"

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

class EchoTest : public testing::Test {
protected:
    World m_world;
    EchoGuard& m_guard = m_world.echoGuard;
    FarEndEcho m_echo{m_world.main};
    void wait(double length) { m_world.time.advance(seconds(length)); }
};

TEST_F(EchoTest, theGuardBlocksOnlyWhenEnabledAndOnlyForwards)
{
    m_guard.bump(5);
    m_guard.setEnabled(true);
    EXPECT_FALSE(m_guard.blocks()) << "what came while it was off does not count";
    m_guard.bump(0);
    m_guard.bumpFarEnd(0.1199);
    EXPECT_FALSE(m_guard.blocks());
    m_guard.bump(2);
    m_guard.bumpFarEnd(0.12);
    wait(2.34);
    EXPECT_TRUE(m_guard.blocks()) << "the shorter one does not cut the longer";
    wait(0.02);
    EXPECT_FALSE(m_guard.blocks());
    m_guard.bumpFarEnd(0.12);
    wait(0.49);
    EXPECT_TRUE(m_guard.blocks());
    wait(0.01);
    EXPECT_FALSE(m_guard.blocks());
}

TEST_F(EchoTest, threeFifthsOfTheWordsInOneRememberedTextAreAnEcho)
{
    m_echo.note("The quarterly budget is nearly finished, thank you");
    m_echo.note("completely other words here");
    EXPECT_TRUE(m_echo.looksLikeEcho("QUARTERLY budget nearly lunch today"));
    EXPECT_FALSE(m_echo.looksLikeEcho("quarterly budget other lunch today")) << "words of two texts are not pooled";
    EXPECT_TRUE(m_echo.looksLikeEcho("budget budget nearly finished")) << "a short repeat of a long sentence";
    EXPECT_FALSE(m_echo.looksLikeEcho("a b c")) << "single letters are no words";
    EXPECT_FALSE(m_echo.looksLikeEcho("budget finished")) << "too short to tell";
}

TEST_F(EchoTest, wordsStayWholeInEveryScriptAndAreForgottenAfterEightSeconds)
{
    m_echo.note("Cuộc họp bắt đầu lúc chín giờ");
    EXPECT_TRUE(m_echo.looksLikeEcho("cuộc HỌP bắt đầu"));
    EXPECT_FALSE(m_echo.looksLikeEcho("cu ộc hop bat dau"));
    wait(8.0);
    EXPECT_TRUE(m_echo.looksLikeEcho("cuộc họp bắt đầu")) << "exactly eight seconds still count";
    wait(0.001);
    EXPECT_FALSE(m_echo.looksLikeEcho("cuộc họp bắt đầu"));
}

} // namespace

} // namespace lingrelay
