#include <host/service/PayloadTexts.hpp>

#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

Message message(int number)
{
    return std::make_shared<const Dictionary>(Dictionary{{"number", number}, {"updatedAt", 1.5}});
}

TEST(PayloadTexts, WritesAPayloadOnce)
{
    PayloadTexts texts;
    const Message one = message(1);
    const Message two = message(2);
    const auto first = texts.textOf(one);
    EXPECT_EQ(first->text, boost::json::serialize(*one));
    EXPECT_EQ(texts.textOf(two)->text, boost::json::serialize(*two));
    for (int time = 0; time < 1000; ++time) {
        EXPECT_EQ(texts.textOf(one), first);
    }
    EXPECT_EQ(texts.written(), 2U);
}

TEST(PayloadTexts, KnowsTheEndOfATopic)
{
    PayloadTexts texts;
    EXPECT_FALSE(texts.textOf(message(1))->isTerminating);
    EXPECT_TRUE(
        texts.textOf(std::make_shared<const Dictionary>(Dictionary{{"isTerminating", true}, {"a", 1}}))->isTerminating);
    EXPECT_FALSE(
        texts.textOf(std::make_shared<const Dictionary>(Dictionary{{"isTerminating", 1}, {"a", 1}}))->isTerminating);
}

TEST(PayloadTexts, NeverTakesOneMessageForAnother)
{
    PayloadTexts texts;
    for (int number = 0; number < 20'000; ++number) {
        const Message each = message(number);
        ASSERT_EQ(texts.textOf(each)->text, boost::json::serialize(*each));
    }
}

TEST(PayloadTexts, TellsEntriesOfOneBatchApart)
{
    const auto batch = std::make_shared<const std::vector<Dictionary>>(
        std::vector<Dictionary>{Dictionary{{"number", 1}, {"a", 0}}, Dictionary{{"number", 2}, {"a", 0}}});
    PayloadTexts texts;
    for (const Dictionary& each : *batch) {
        EXPECT_EQ(texts.textOf(Message{batch, &each})->text, boost::json::serialize(each));
    }
}

TEST(PayloadTexts, DoesNotKeepMessagesAlive)
{
    PayloadTexts texts;
    auto owned = std::make_shared<const Dictionary>(Dictionary{{"number", 1}, {"a", 0}});
    const std::weak_ptr<const Dictionary> watch = owned;
    const auto text = texts.textOf(owned);
    owned.reset();
    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(text->text, R"({"number":1,"a":0})");
}

TEST(PayloadTexts, ForgetsTextsBeyondItsBound)
{
    PayloadTexts texts{10};
    const Message one = message(1);
    const auto first = texts.textOf(one);
    EXPECT_NE(texts.textOf(one), first);
    EXPECT_EQ(texts.written(), 2U);
}

} // namespace
} // namespace vexa::host
