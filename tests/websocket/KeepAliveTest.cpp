#include <host/websocket/KeepAlive.hpp>

#include <gtest/gtest.h>

namespace vexa::host {
namespace {

using Action = KeepAlive::Action;

TEST(KeepAliveTest, aPeerThatSendsIsLeftAlone)
{
    KeepAlive keepAlive;
    EXPECT_EQ(keepAlive.periodEnded(10), Action::nothing);
    EXPECT_EQ(keepAlive.periodEnded(11), Action::nothing);
    EXPECT_EQ(keepAlive.periodEnded(12), Action::nothing);
}

TEST(KeepAliveTest, aSilentPeerIsAskedOnceAndThenGivenUp)
{
    KeepAlive keepAlive;
    EXPECT_EQ(keepAlive.periodEnded(10), Action::nothing);
    EXPECT_EQ(keepAlive.periodEnded(10), Action::ping);
    EXPECT_EQ(keepAlive.periodEnded(10), Action::giveUp);
}

TEST(KeepAliveTest, aPeerThatAnswersIsAskedAgainLater)
{
    KeepAlive keepAlive;
    EXPECT_EQ(keepAlive.periodEnded(0), Action::ping);
    EXPECT_EQ(keepAlive.periodEnded(2), Action::nothing);
    EXPECT_EQ(keepAlive.periodEnded(2), Action::ping);
    EXPECT_EQ(keepAlive.periodEnded(4), Action::nothing);
}

} // namespace
} // namespace vexa::host
