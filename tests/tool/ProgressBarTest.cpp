#include <host/tool/client/ProgressBar.hpp>

#include <gtest/gtest.h>

namespace vexa::host {
namespace {

TEST(ProgressBar, isFilledByTheShareThatIsDone)
{
    EXPECT_EQ(progressBarText(0, 10, 4), "[----]   0 %");
    EXPECT_EQ(progressBarText(5, 10, 4), "[##--]  50 %");
    EXPECT_EQ(progressBarText(10, 10, 4), "[####] 100 %");
    EXPECT_EQ(progressBarText(11, 10, 4), "[####] 100 %") << "the file has grown";
    EXPECT_EQ(progressBarText(0, 0, 4), "[####] 100 %");
}

} // namespace
} // namespace vexa::host
