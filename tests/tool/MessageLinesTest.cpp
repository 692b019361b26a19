#include <host/tool/client/MessageLines.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace vexa::host {
namespace {

VexaSubscriptionStream::Element element(const std::string& message, bool isTerminating = false)
{
    VexaSubscriptionStream::Element made;
    made.message = std::make_shared<const Dictionary>(boost::json::parse(message).as_object());
    made.isTerminating = isTerminating;
    return made;
}

TEST(MessageLines, areJsonForPrograms)
{
    EXPECT_EQ(jsonLine("t\"x", element(R"({"payload":{"a":1}})", true)),
              R"({"topic":"t\"x","message":{"payload":{"a":1}},"isTerminating":true})");
}

TEST(MessageLines, areShortForPeople)
{
    const std::string line = plainLine("t", element(R"({"payload":{"text":"hello","updatedAt":1.5},"replayed":true})"));
    EXPECT_EQ(line.substr(8), ".500  t  hello  (replayed)") << "behind the local time of day";
    EXPECT_EQ(plainLine("t", element(R"({"payload":{"a":1,"isTerminating":true}})", true)),
              "t  {\"a\":1}  (the topic has ended)");
    EXPECT_EQ(plainLine("t", element("{}")), "t");
    EXPECT_EQ(plainLine("t", element(R"({"payload":{"a":1,"updatedAt":1e300}})")), "t  {\"a\":1}");
}

TEST(MessageLines, canDoATerminalNoHarm)
{
    const std::string line = plainLine("t\x1B[2J", element("{\"payload\":{\"text\":\"\\u001b[31m\\u0007\"}}"));
    EXPECT_EQ(line.find('\x1B'), std::string::npos);
    EXPECT_EQ(line.find('\x07'), std::string::npos);
}

TEST(MessageLines, areTheTextAloneWhenThatIsWanted)
{
    EXPECT_EQ(textLine(element(R"({"payload":{"text":"x","a":1}})")), "x");
    EXPECT_EQ(textLine(element(R"({"payload":{"a":1}})")), std::nullopt);
    EXPECT_EQ(textLine(element("{}")), std::nullopt);
}

} // namespace
} // namespace vexa::host
