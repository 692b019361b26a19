#include <host/websocket/MessageDecoder.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace vexa::host {
namespace {

class MessageDecoderTest : public ::testing::Test {
protected:
    Message decoded(std::string_view text)
    {
        auto result = decoder.decode(text);
        if (!std::holds_alternative<Message>(result)) {
            ADD_FAILURE() << text << " " << description(std::get<FrameFault>(result));
            return std::make_shared<const Dictionary>();
        }
        return std::get<Message>(std::move(result));
    }

    std::string fault(std::string_view text)
    {
        const auto result = decoder.decode(text);
        const auto* found = std::get_if<FrameFault>(&result);
        return found != nullptr ? std::string{description(*found)} : "has no fault";
    }

    MessageDecoder decoder{{.bytes = 100000, .depth = 4}};
};

TEST_F(MessageDecoderTest, aTextBecomesTheMessageInIt)
{
    const std::string text = R"({"category":"vexa","list":[1,2.5,"text",null,true],"inner":{"a":{}}})";
    EXPECT_EQ(*decoded(text), boost::json::parse(text).as_object());
}

TEST_F(MessageDecoderTest, aMessageOutlivesItsTextItsDecoderAndLaterMessages)
{
    std::vector<Message> messages;
    {
        MessageDecoder shortLived{{}};
        for (int i = 0; i < 100; ++i) {
            std::string text = R"({"category":"vexa","number":)" + std::to_string(i) + R"(,"text":")" +
                               std::string(static_cast<std::size_t>(i) * 50, 'x') + R"("})";
            messages.push_back(std::get<Message>(shortLived.decode(text)));
            text.assign(text.size(), '?');
        }
    }
    for (int i = 0; i < 100; ++i) {
        EXPECT_EQ(messages[static_cast<std::size_t>(i)]->at("number"), i);
        EXPECT_EQ(messages[static_cast<std::size_t>(i)]->at("text").as_string().size(),
                  static_cast<std::size_t>(i) * 50);
    }
}

TEST_F(MessageDecoderTest, aPartThatIsSharedKeepsTheWholeMemoryAlive)
{
    const Message whole = decoded(R"({"entries":[{"id":"the only one that is kept by anyone"}]})");
    const Dictionary* entry = &whole->at("entries").as_array().at(0).as_object();
    Message part{whole, entry};
    Message moved = std::move(part);
    EXPECT_EQ(stringAt(*moved, "id"), "the only one that is kept by anyone");
}

TEST_F(MessageDecoderTest, numbersAreReadExactly)
{
    EXPECT_EQ(decoded(R"({"time":1700000000.123457})")->at("time").as_double(), 1700000000.123457);
    EXPECT_EQ(decoded(R"({"time":0.1})")->at("time").as_double(), 0.1);
}

TEST_F(MessageDecoderTest, whatIsNoJsonTextIsRefused)
{
    for (const char* text : {"", " ", "{", "{\"a\":1}}", "{'a':1}", "{\"a\":1} x", "nonsense", "{\"a\":\x01}"}) {
        EXPECT_EQ(fault(text), description(FrameFault::notJson)) << text;
    }
}

TEST_F(MessageDecoderTest, jsonTextThatIsNoDictionaryIsRefused)
{
    for (const char* text : {"[]", "1", "null", "\"text\"", "[{}]"}) {
        EXPECT_EQ(fault(text), description(FrameFault::notADictionary)) << text;
    }
}

TEST_F(MessageDecoderTest, theDepthIsLimitedAndNotExceededByOne)
{
    EXPECT_EQ(fault(R"({"a":[[[1]]]})"), "has no fault");
    EXPECT_EQ(fault(R"({"a":[[[[1]]]]})"), description(FrameFault::tooDeep));
    EXPECT_EQ(fault("{\"a\":" + std::string(90000, '[')), description(FrameFault::tooDeep));
}

TEST_F(MessageDecoderTest, theBytesAreLimitedAndNotExceededByOne)
{
    const std::string frame = R"({"a":""})";
    EXPECT_EQ(fault(R"({"a":")" + std::string(100000 - frame.size(), 'x') + R"("})"), "has no fault");
    EXPECT_EQ(fault(R"({"a":")" + std::string(100001 - frame.size(), 'x') + R"("})"),
              description(FrameFault::tooLarge));
}

TEST_F(MessageDecoderTest, aFaultLeavesNothingBehindForTheNextText)
{
    EXPECT_EQ(fault(R"({"a":[1,2,{"unfinished":"tex)"), description(FrameFault::notJson));
    EXPECT_EQ(fault(R"({"number":12.5e)"), description(FrameFault::notJson));
    EXPECT_EQ(*decoded(R"({"b":1.5})"), (boost::json::parse(R"({"b":1.5})").as_object()));
}

} // namespace
} // namespace vexa::host
