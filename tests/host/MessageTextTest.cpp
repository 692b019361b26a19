#include <host/wire/MessageText.hpp>

#include <boost/json/error.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <string>

namespace vexa::host {
namespace {

Dictionary read(std::string_view text)
{
    boost::system::error_code error;
    Dictionary message = readMessage(text, error);
    EXPECT_FALSE(error) << error.message() << " in " << text;
    return message;
}

boost::system::error_code errorOf(std::string_view text, const MessageTextLimits& limits = {})
{
    boost::system::error_code error;
    EXPECT_TRUE(readMessage(text, error, limits).empty());
    return error;
}

TEST(MessageText, ReadsEveryKindOfValue)
{
    const Dictionary message = read(R"( {"text":"a\u00e9\n","int":-7,"big":18446744073709551615,"real":2.5,
        "yes":true,"no":false,"none":null,"list":[1,[],{}],"inner":{"key":"value"},"":0} )");

    EXPECT_EQ(message.at("text"), "a\xc3\xa9\n");
    EXPECT_EQ(message.at("int"), -7);
    EXPECT_EQ(message.at("big"), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(message.at("real"), 2.5);
    EXPECT_EQ(message.at("yes"), true);
    EXPECT_EQ(message.at("no"), false);
    EXPECT_TRUE(message.at("none").is_null());
    EXPECT_EQ(message.at("list"), (List{1, List{}, Dictionary{}}));
    EXPECT_EQ(message.at("inner"), (Dictionary{{"key", "value"}}));
    EXPECT_EQ(message.at(""), 0);
}

TEST(MessageText, ReadsEveryTimeBackAsItWas)
{
    std::mt19937_64 bits{1};
    std::uniform_real_distribution<double> times{1.6e9, 1.9e9};
    for (int n = 0; n < 20'000; ++n) {
        const double time = times(bits);
        const double next = std::nextafter(time, 2e9);
        const Dictionary back = read(messageText({{"time", time}, {"next", next}}));
        ASSERT_EQ(back.at("time").as_double(), time);
        ASSERT_EQ(back.at("next").as_double(), next);
    }
}

TEST(MessageText, ReadsNumbersAtTheEdgesOfADouble)
{
    EXPECT_EQ(read(R"({"n":1.7976931348623157e308})").at("n").as_double(), std::numeric_limits<double>::max());
    EXPECT_EQ(read(R"({"n":4.9406564584124654e-324})").at("n").as_double(), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(read(R"({"n":1e-999})").at("n").as_double(), 0.0);
    EXPECT_EQ(read(R"({"n":123456789012345678901234567890})").at("n").as_double(), 123456789012345678901234567890.0);
    EXPECT_EQ(errorOf(R"({"n":1e999})"), boost::json::error::exponent_overflow);
}

TEST(MessageText, KeepsTheLastOfTwoEntriesWithOneKey)
{
    EXPECT_EQ(read(R"({"key":1,"key":2})"), (Dictionary{{"key", 2}}));
}

TEST(MessageText, RefusesWhatIsNoMessage)
{
    for (const std::string_view text : {"", "{", "[]", "7", "null", "{} {}", "{\"a\":}", "{'a':1}", "{\"a\":1,}",
                                        "\"text\"", "{\"a\":\"\xff\"}", "{\"a\":01}", "{\"a\":NaN}"}) {
        EXPECT_TRUE(errorOf(text)) << text;
    }
}

TEST(MessageText, RefusesWhatIsDeeperOrLongerThanItsLimits)
{
    const MessageTextLimits limits{.bytes = 20, .depth = 3};

    EXPECT_FALSE(errorOf(R"({})", limits));
    EXPECT_TRUE(errorOf(R"({"a":[[[]]]})", limits));
    EXPECT_TRUE(errorOf(R"({"a":"0123456789012"})", limits));
    EXPECT_TRUE(errorOf("{\"a\":" + std::string(100'000, '[')));
}

} // namespace
} // namespace vexa::host
