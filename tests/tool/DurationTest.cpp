#include <host/tool/client/Duration.hpp>

#include <gtest/gtest.h>

#include <string>

namespace vexa::host {
namespace {

TEST(Duration, isReadAsPeopleWriteIt)
{
    EXPECT_DOUBLE_EQ(readDuration("0").value_or(-1), 0);
    EXPECT_DOUBLE_EQ(readDuration("90").value_or(-1), 90);
    EXPECT_DOUBLE_EQ(readDuration("1.5").value_or(-1), 1.5);
    EXPECT_DOUBLE_EQ(readDuration("200ms").value_or(-1), 0.2);
    EXPECT_DOUBLE_EQ(readDuration("30s").value_or(-1), 30);
    EXPECT_DOUBLE_EQ(readDuration("5m").value_or(-1), 300);
    EXPECT_DOUBLE_EQ(readDuration("2h").value_or(-1), 7200);
    EXPECT_DOUBLE_EQ(readDuration("7d").value_or(-1), 604800);
}

TEST(Duration, isNothingElse)
{
    for (const char* text : {"", "s", "-1", "-0", "1y", "1 s", "5mm", "1e3", "inf", "nan", "0x10", "1,5"}) {
        EXPECT_FALSE(readDuration(text)) << text;
    }
}

TEST(Duration, isNothingThatADoubleCannotHold)
{
    const std::string number(308, '9');
    EXPECT_TRUE(readDuration(number));
    EXPECT_FALSE(readDuration(number + "d"));
    EXPECT_FALSE(readDuration(number + "9"));
}

} // namespace
} // namespace vexa::host
