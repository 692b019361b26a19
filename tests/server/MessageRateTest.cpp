#include <host/service/MessageRate.hpp>

#include <gtest/gtest.h>

namespace vexa::host {
namespace {

TEST(MessageRate, IsTheMeanOfTheLastTenWholeSeconds)
{
    MessageRate rate;
    for (int second = 100; second < 130; ++second) {
        rate.add(static_cast<std::size_t>(second), second + 0.5);
    }
    EXPECT_DOUBLE_EQ(rate.perSecond(130.2), 124.5);
    EXPECT_DOUBLE_EQ(rate.perSecond(135.0), (125 + 126 + 127 + 128 + 129) / 10.0);
    EXPECT_DOUBLE_EQ(rate.perSecond(200), 0);
}

TEST(MessageRate, DoesNotCountTheTimeBeforeTheFirstMessage)
{
    MessageRate rate;
    EXPECT_DOUBLE_EQ(rate.perSecond(50), 0);
    rate.add(30, 50.1);
    EXPECT_DOUBLE_EQ(rate.perSecond(50.9), 30);
    rate.add(10, 51.1);
    EXPECT_DOUBLE_EQ(rate.perSecond(51.5), 30);
    EXPECT_DOUBLE_EQ(rate.perSecond(52.5), 20);
}

} // namespace
} // namespace vexa::host
