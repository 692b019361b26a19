#include <host/tool/top/DisplayText.hpp>

#include <gtest/gtest.h>

#include <string>

namespace vexa::host {
namespace {

TEST(DisplayText, canDoATerminalNoHarm)
{
    EXPECT_EQ(displayText("a\x1B[2Jb\n\x7F\xC2\x9B", true), "a\\u001b[2Jb\\n\\u007f\\u009b");
    EXPECT_EQ(displayText("abc\u202Edef", true), "abc\\u202edef") << "would turn the rest of the line around";
    EXPECT_EQ(displayText("a\u200Bb\u2066c\uFEFF", true), "a\\u200bb\\u2066c\\ufeff");
    EXPECT_EQ(displayText("a\xFF\xE2\x82z", true), "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDz");
}

TEST(DisplayText, showsWordsOfAllLanguages)
{
    EXPECT_EQ(displayText("größe 温度 é 😀", true), "größe 温度 é 😀");
    EXPECT_EQ(displayText("größe 温度", false), "gr??e ????") << "in as many columns";
}

TEST(DisplayText, isMeasuredInColumns)
{
    EXPECT_EQ(displayColumns("abc"), 3U);
    EXPECT_EQ(displayColumns("温度"), 4U);
    EXPECT_EQ(displayColumns("e\u0301"), 1U) << "an accent stands above its letter";
    EXPECT_EQ(displayColumns(""), 0U);
}

TEST(DisplayText, isCutWhereAColumnEnds)
{
    EXPECT_EQ(firstColumns("温度計", 4), "温度");
    EXPECT_EQ(firstColumns("温度計", 5), "温度") << "no half of a character";
    EXPECT_EQ(firstColumns("abc", 9), "abc");
    EXPECT_EQ(behindColumns("温度計", 2), "度計");
    EXPECT_EQ(behindColumns("温度計", 3), "計");
    EXPECT_EQ(behindColumns("abc", 9), "");
    EXPECT_EQ(atLeft("温", 4), "温  ");
    EXPECT_EQ(atLeft("温度", 3), "温 ");
    EXPECT_EQ(atRight("12", 4), "  12");
    EXPECT_EQ(atRight("12345", 4), "1234");
}

} // namespace
} // namespace vexa::host
