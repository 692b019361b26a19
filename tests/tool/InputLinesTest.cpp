#include <host/tool/client/InputLines.hpp>
#include <host/wire/MessageText.hpp>

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {
namespace {

std::vector<std::string> linesOf(InputLines& lines)
{
    std::vector<std::string> all;
    while (auto line = lines.take()) {
        all.push_back(*line);
    }
    return all;
}

TEST(InputLines, areCutWhereverThePiecesEnd)
{
    constexpr std::string_view input = "one\n\ntwo\r\nthree";
    for (std::size_t size = 1; size <= input.size(); ++size) {
        InputLines lines{100};
        for (std::size_t begin = 0; begin < input.size(); begin += size) {
            lines.add(input.substr(begin, size));
        }
        lines.end();
        EXPECT_EQ(linesOf(lines), (std::vector<std::string>{"one", "", "two\r", "three"})) << size;
        EXPECT_EQ(lines.tooLong(), 0U);
    }
}

TEST(InputLines, endWithoutALineOfNothing)
{
    InputLines lines{100};
    lines.add("one\n");
    lines.end();
    EXPECT_EQ(linesOf(lines), std::vector<std::string>{"one"});
}

TEST(InputLines, dropAndCountWhatIsTooLong)
{
    InputLines lines{5};
    lines.add("12345\n123");
    lines.add("456\nab\n");
    lines.add("1234567890");
    lines.end();
    EXPECT_EQ(linesOf(lines), (std::vector<std::string>{"12345", "ab"}));
    EXPECT_EQ(lines.tooLong(), 2U);
}

TEST(MessageOfLine, isAnObjectAsItStandsAndAnythingElseAsText)
{
    EXPECT_EQ(messageText(messageOfLine(R"({"a":[1,25,"x"],"b":null})").payload), R"({"a":[1,25,"x"],"b":null})");
    EXPECT_EQ(messageText(messageOfLine("{}").payload), "{}");
    for (const std::string line : {"", "text", "1", "[{}]", "{\"a\":}", "{} {}", "null", "{'a':1}"}) {
        EXPECT_EQ(messageOfLine(line).payload.at("text").as_string(), line);
        EXPECT_EQ(messageOfLine(line).payload.size(), 1U);
    }
    EXPECT_EQ(textMessage("{}").payload.at("text"), "{}");
}

TEST(MessageOfLine, replacesWhatIsNoUtf8)
{
    const LineMessage message = messageOfLine("ä\xFF\xE2\x82€");
    EXPECT_TRUE(message.isRepaired);
    EXPECT_EQ(message.payload.at("text"), "ä\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD€");
    EXPECT_FALSE(messageOfLine("ä€😀").isRepaired);
}

} // namespace
} // namespace vexa::host
