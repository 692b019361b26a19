#include "Fixtures.hpp"

#include <gtest/gtest.h>

namespace vexa {
namespace {

using Payload = GameSDKMessage::Payload;

constexpr auto wholeRecord = R"({"category": "zltMsg", "type": "sdk-echo", "msgId": "48213",
                                 "payload": {"fieldOne": "one", "fieldTwo": "two", "date": "0.5"}})";

TEST(GameSDKMessagePayload, IsDatedWhenItIsMade)
{
    testing::VirtualPlatform platform;
    platform.clock.set(1731715200.25);
    const Payload payload{"one", "two", platform};
    platform.clock.advance(5);
    EXPECT_EQ(payload.encoded(), dictionary(R"({"fieldOne": "one", "fieldTwo": "two", "date": "1731715200.25"})"));
}

TEST(GameSDKMessagePayload, IsDatedWhenItIsDecodedWhateverItsDate)
{
    for (const std::string date : {R"("date": "1731715200.25",)", R"("date": "no date",)", R"("date": "",)",
                                   R"("date": 5,)", R"("date": null,)", R"("date": {"a": []},)", ""}) {
        testing::VirtualPlatform platform;
        const auto payload =
            Payload::decoded(dictionary("{" + date + R"("fieldOne": "one", "fieldTwo": "two"})"), platform);
        ASSERT_TRUE(payload) << date;
        EXPECT_EQ(payload->encoded(), dictionary(R"({"fieldOne": "one", "fieldTwo": "two", "date": "1700000000.0"})"))
            << date;
    }
}

TEST(GameSDKMessagePayload, IsNotDecodedWithoutBothFieldsAsText)
{
    testing::VirtualPlatform platform;
    for (const std::string json :
         {R"({})", R"({"fieldOne": "one"})", R"({"fieldTwo": "two", "date": "0.5"})",
          R"({"fieldOne": 1, "fieldTwo": "two"})", R"({"fieldOne": "one", "fieldTwo": null})",
          R"({"fieldOne": "one", "fieldTwo": ["two"]})", R"({"fieldone": "one", "fieldtwo": "two"})"}) {
        EXPECT_FALSE(Payload::decoded(dictionary(json), platform)) << json;
    }
}

TEST(GameSDKMessagePayload, IsDecodedWithUnknownKeysIgnored)
{
    testing::VirtualPlatform platform;
    const auto payload = Payload::decoded(dictionary(R"({"fieldOne": "", "fieldTwo": "ü", "more": 1})"), platform);
    ASSERT_TRUE(payload);
    EXPECT_EQ(payload->encoded(), dictionary(R"({"fieldOne": "", "fieldTwo": "ü", "date": "1700000000.0"})"));
}

TEST(GameSDKMessageRecord, EncodesEveryField)
{
    testing::VirtualPlatform platform;
    const GameSDKMessage message{"category text", "type text", "id text", Payload{"one", "two", platform}};
    EXPECT_EQ(message.encoded(), dictionary(R"({"category": "category text", "type": "type text", "msgId": "id text",
                             "payload": {"fieldOne": "one", "fieldTwo": "two", "date": "1700000000.0"}})"));
}

TEST(GameSDKMessageRecord, DecodesToTheSameRecordButForItsDate)
{
    testing::VirtualPlatform platform;
    Dictionary input = dictionary(wholeRecord);
    input["more"] = "unknown";
    const auto message = GameSDKMessage::decoded(input, platform);
    ASSERT_TRUE(message);
    EXPECT_EQ(message->encoded(), dictionary(R"({"category": "zltMsg", "type": "sdk-echo", "msgId": "48213",
                             "payload": {"fieldOne": "one", "fieldTwo": "two", "date": "1700000000.0"}})"));
}

TEST(GameSDKMessageRecord, IsNotDecodedWithoutAnyOneOfItsKeys)
{
    testing::VirtualPlatform platform;
    for (const std::string key : {"category", "type", "msgId", "payload"}) {
        Dictionary input = dictionary(wholeRecord);
        input.erase(key);
        EXPECT_FALSE(GameSDKMessage::decoded(input, platform)) << key;
    }
}

TEST(GameSDKMessageRecord, IsNotDecodedWithAnyOneOfItsValuesOfAnotherType)
{
    testing::VirtualPlatform platform;
    for (const std::string key : {"category", "type", "msgId", "payload"}) {
        for (const std::string json : {"48213", "null", "true", "[]"}) {
            Dictionary input = dictionary(wholeRecord);
            input[key] = boost::json::parse(json);
            EXPECT_FALSE(GameSDKMessage::decoded(input, platform)) << key << " " << json;
        }
    }
}

TEST(GameSDKMessageRecord, IsNotDecodedWithAPayloadThatIsNot)
{
    testing::VirtualPlatform platform;
    Dictionary input = dictionary(wholeRecord);
    input["payload"].as_object().erase("fieldTwo");
    EXPECT_FALSE(GameSDKMessage::decoded(input, platform));
}

} // namespace
} // namespace vexa
