#include <host/service/DelayHistogram.hpp>

#include <gtest/gtest.h>

#include <limits>

namespace vexa::host {
namespace {

TEST(DelayHistogram, HasNothingToSayOfNothing)
{
    const DelayFigures figures = DelayHistogram{}.figures();
    EXPECT_EQ(figures.count, 0U);
    EXPECT_EQ(figures.mean, 0);
    EXPECT_EQ(figures.percentile99, 0);
}

TEST(DelayHistogram, KnowsTheExtremesAndTheMeanExactly)
{
    DelayHistogram histogram;
    for (const double delay : {0.25, -0.5, 2.0, 0.25}) {
        histogram.add(delay);
    }
    const DelayFigures figures = histogram.figures();
    EXPECT_EQ(figures.count, 4U);
    EXPECT_DOUBLE_EQ(figures.minimum, -0.5);
    EXPECT_DOUBLE_EQ(figures.maximum, 2);
    EXPECT_DOUBLE_EQ(figures.mean, 0.5);
}

TEST(DelayHistogram, EstimatesQuantilesToAFifth)
{
    DelayHistogram histogram;
    for (int place = 1; place <= 10'000; ++place) {
        histogram.add(place * 0.0001);
    }
    const DelayFigures figures = histogram.figures();
    EXPECT_NEAR(figures.median, 0.5, 0.1);
    EXPECT_NEAR(figures.percentile99, 0.99, 0.2);
}

TEST(DelayHistogram, TakesWhatLiesBeyondItsClasses)
{
    DelayHistogram histogram;
    histogram.add(1e6);
    histogram.add(0);
    histogram.add(std::numeric_limits<double>::quiet_NaN());
    histogram.add(std::numeric_limits<double>::infinity());
    const DelayFigures figures = histogram.figures();
    EXPECT_EQ(figures.count, 2U);
    EXPECT_DOUBLE_EQ(figures.maximum, 1e6);
    EXPECT_LE(figures.percentile99, 1e6);
}

} // namespace
} // namespace vexa::host
