#include <host/websocket/OccasionalLine.hpp>

#include <gtest/gtest.h>

#include <optional>

namespace vexa::host {
namespace {

TEST(OccasionalLineTest, theFirstTimeIsWorthALine)
{
    OccasionalLine line{60};
    EXPECT_EQ(line.happened(0), 1U);
}

TEST(OccasionalLineTest, moreOfTheSameWaitForTheNextLineWhichCountsThem)
{
    OccasionalLine line{60};
    EXPECT_EQ(line.happened(100), 1U);
    EXPECT_EQ(line.happened(101), std::nullopt);
    EXPECT_EQ(line.happened(159.9), std::nullopt);
    EXPECT_EQ(line.happened(160), 3U);
    EXPECT_EQ(line.happened(161), std::nullopt);
    EXPECT_EQ(line.happened(500), 2U);
}

} // namespace
} // namespace vexa::host
