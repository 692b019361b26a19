#include "BrokersUnderTest.hpp"
#include "CollectingReceiver.hpp"
#include "PublishCalls.hpp"

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

constexpr std::size_t manyKept = 10'000;

template <class Brokers>
class BrokerContract : public ::testing::Test {
protected:
    std::shared_ptr<CollectingReceiver> subscribe(double since)
    {
        auto receiver = std::make_shared<CollectingReceiver>();
        broker->subscribe(topic, since, receiver);
        return receiver;
    }

    /// Publishes payloads one by one, each once the one before it is stored.
    void publishOneByOne(std::int64_t first, std::int64_t count)
    {
        for (std::int64_t number = first; number < first + count; ++number) {
            ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(number, 1)).accepted, 1U);
        }
    }

    void end(std::int64_t number)
    {
        PublishResults results;
        broker->end(topic, numbered(number), results.completion());
        ASSERT_EQ(results.await(1).size(), 1U);
    }

    SystemPlatform platform{2};
    std::shared_ptr<Broker> broker = Brokers::make(platform, manyKept);
    const TopicKey topic{"scores"};
};

TYPED_TEST_SUITE(BrokerContract, BrokersUnderTest, BrokerName);

TYPED_TEST(BrokerContract, confirmsASubscriptionOnceAndBeforeAnyDelivery)
{
    this->publishOneByOne(1, 2);
    const auto receiver = this->subscribe(0);
    EXPECT_EQ(numbersOf(receiver->await(2)), numbersFrom(1, 2));
    EXPECT_EQ(receiver->steps(), (std::vector<std::string>{"subscribed", "received"}));
}

TYPED_TEST(BrokerContract, deliversWhatIsPublishedInOrderWithRisingTimesInWholeMicroseconds)
{
    const auto receiver = this->subscribe(0);
    ASSERT_TRUE(receiver->awaitSubscribed());
    const double before = std::floor(this->platform.now() * 1e6) / 1e6;
    for (std::int64_t number = 1; number <= 200; ++number) {
        this->broker->publish(this->topic, numberedFrom(number, 1), {});
    }
    const auto deliveries = receiver->await(200);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(1, 200));
    EXPECT_EQ(replayMarksOf(deliveries), std::vector<bool>(200, false));
    const auto times = timesOf(deliveries);
    EXPECT_TRUE(isRising(times));
    EXPECT_GE(times.front(), before);
    for (const double time : times) {
        EXPECT_EQ(static_cast<double>(std::llround(time * 1e6)) / 1e6, time);
    }
}

TYPED_TEST(BrokerContract, keepsAPayloadAsItIsButForItsTime)
{
    Dictionary payload =
        boost::json::parse(R"({"text":"ü \" \n","number":1.25,"list":[1,null,true,{"a":[]}],"updatedAt":5})")
            .as_object();
    ASSERT_EQ(publishAndWait(*this->broker, this->topic, std::vector<Dictionary>(1, payload)).accepted, 1U);
    const auto deliveries = this->subscribe(0)->await(1);
    ASSERT_EQ(deliveries.size(), 1U);
    const double updatedAt = timesOf(deliveries).front();
    EXPECT_GT(updatedAt, 1e9);
    payload["updatedAt"] = updatedAt;
    EXPECT_EQ(*deliveries.front().payload, payload);
}

TYPED_TEST(BrokerContract, replaysWhatIsLaterThanTheSubscribersTimeAndMarksIt)
{
    this->publishOneByOne(1, 5);
    const auto times = timesOf(this->subscribe(0)->await(5));
    ASSERT_EQ(times.size(), 5U);
    const auto receiver = this->subscribe(times[1]);
    const auto deliveries = receiver->await(3);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(3, 5));
    EXPECT_EQ(replayMarksOf(deliveries), std::vector<bool>(3, true));
    EXPECT_EQ(timesOf(deliveries), (std::vector<double>{times[2], times[3], times[4]}));
}

TYPED_TEST(BrokerContract, replaysFromTheMiddleOfAPublication)
{
    ASSERT_EQ(publishAndWait(*this->broker, this->topic, numberedFrom(1, 5)).accepted, 5U);
    const auto times = timesOf(this->subscribe(0)->await(5));
    ASSERT_EQ(times.size(), 5U);
    EXPECT_EQ(numbersOf(this->subscribe(times[2])->await(2)), numbersFrom(4, 5));
}

TYPED_TEST(BrokerContract, deliversOnlyWhatComesToASubscriberWhoHasEverything)
{
    this->publishOneByOne(1, 2);
    const auto times = timesOf(this->subscribe(0)->await(2));
    ASSERT_EQ(times.size(), 2U);
    const auto receiver = this->subscribe(times[1]);
    ASSERT_TRUE(receiver->awaitSubscribed());
    this->publishOneByOne(3, 1);
    const auto deliveries = receiver->await(1);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(3, 3));
    EXPECT_EQ(replayMarksOf(deliveries), std::vector<bool>(1, false));
}

TYPED_TEST(BrokerContract, joinsReplayAndLiveWithoutGapOrRepetition)
{
    constexpr std::int64_t count = 600;
    std::thread publisher{[&] {
        PublishResults results;
        for (std::int64_t number = 1; number <= count; ++number) {
            this->broker->publish(this->topic, numberedFrom(number, 1), results.completion());
            if (number % 50 == 0) {
                static_cast<void>(results.await(static_cast<std::size_t>(number)));
            }
        }
    }};
    const auto first = this->subscribe(0);
    std::vector<std::shared_ptr<CollectingReceiver>> fromTheStart;
    std::vector<std::pair<std::int64_t, std::shared_ptr<CollectingReceiver>>> fromTheMiddle;
    for (std::size_t seen = 50; seen <= 550; seen += 50) {
        const auto deliveries = first->await(seen);
        fromTheStart.push_back(this->subscribe(0));
        fromTheMiddle.emplace_back(numbersOf(deliveries).back() + 1, this->subscribe(timesOf(deliveries).back()));
    }
    publisher.join();
    for (const auto& receiver : fromTheStart) {
        EXPECT_EQ(numbersOf(receiver->await(count)), numbersFrom(1, count));
    }
    for (const auto& [next, receiver] : fromTheMiddle) {
        EXPECT_EQ(numbersOf(receiver->await(static_cast<std::size_t>(count + 1 - next))), numbersFrom(next, count));
    }
}

TYPED_TEST(BrokerContract, keepsThePayloadsOfAPublicationNextToEachOther)
{
    constexpr std::int64_t publishers = 3;
    constexpr std::int64_t publications = 40;
    constexpr std::int64_t batch = 5;
    const auto receiver = this->subscribe(0);
    ASSERT_TRUE(receiver->awaitSubscribed());
    std::vector<std::thread> threads;
    for (std::int64_t publisher = 0; publisher < publishers; ++publisher) {
        threads.emplace_back([&, publisher] {
            for (std::int64_t i = 0; i < publications; ++i) {
                this->broker->publish(this->topic, numberedFrom((publisher * publications + i) * batch, batch), {});
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    auto numbers = numbersOf(receiver->await(publishers * publications * batch));
    ASSERT_EQ(numbers.size(), static_cast<std::size_t>(publishers * publications * batch));
    for (std::size_t i = 0; i < numbers.size(); i += batch) {
        EXPECT_EQ(numbers[i] % batch, 0);
        for (std::size_t within = 1; within < static_cast<std::size_t>(batch); ++within) {
            EXPECT_EQ(numbers[i + within], numbers[i] + static_cast<std::int64_t>(within));
        }
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, numbersFrom(0, publishers * publications * batch - 1));
}

TYPED_TEST(BrokerContract, completesPublicationsInTheirOrder)
{
    PublishResults results;
    for (std::int64_t count = 1; count <= 20; ++count) {
        this->broker->publish(this->topic, numberedFrom(0, count), results.completion());
    }
    const auto completed = results.await(20);
    ASSERT_EQ(completed.size(), 20U);
    for (std::size_t i = 0; i < completed.size(); ++i) {
        EXPECT_EQ(completed[i].accepted, i + 1);
        EXPECT_FALSE(completed[i].error.has_value());
    }
}

TYPED_TEST(BrokerContract, acceptsAPublicationWithoutPayloads)
{
    const PublishResult result = publishAndWait(*this->broker, this->topic, {});
    EXPECT_EQ(result.accepted, 0U);
    EXPECT_FALSE(result.error.has_value());
}

TYPED_TEST(BrokerContract, replaysTheEndOfATopicToThoseWhoKnowItAndToThoseWhoDoNot)
{
    this->publishOneByOne(1, 2);
    this->end(3);
    const auto deliveries = this->subscribe(0)->await(3);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(1, 3));
    ASSERT_EQ(deliveries.size(), 3U);
    EXPECT_EQ(deliveries[2].payload->at("isTerminating"), Value(true));
    EXPECT_EQ(numbersOf(this->subscribe(timesOf(deliveries)[1])->await(1)), numbersFrom(3, 3));
}

TYPED_TEST(BrokerContract, replaysThePresentLifeAloneToThoseWhoNeverSawTheTopic)
{
    this->publishOneByOne(1, 1);
    this->end(2);
    this->publishOneByOne(3, 1);
    this->end(4);
    this->publishOneByOne(5, 2);
    const auto present = this->subscribe(0)->await(2);
    EXPECT_EQ(numbersOf(present), numbersFrom(5, 6));
    EXPECT_EQ(numbersOf(this->subscribe(-1)->await(2)), numbersFrom(5, 6));
    EXPECT_EQ(numbersOf(this->subscribe(1)->await(6)), numbersFrom(1, 6));
}

TYPED_TEST(BrokerContract, opensATopicAgainInTheMiddleOfAPublication)
{
    std::vector<Dictionary> payloads = numberedFrom(1, 3);
    payloads[1]["isTerminating"] = true;
    ASSERT_EQ(publishAndWait(*this->broker, this->topic, payloads).accepted, 3U);
    EXPECT_EQ(numbersOf(this->subscribe(0)->await(1)), numbersFrom(3, 3));
    EXPECT_EQ(numbersOf(this->subscribe(1)->await(3)), numbersFrom(1, 3));
}

TYPED_TEST(BrokerContract, deliversNothingOnceACancelledSubscriptionIsOut)
{
    const auto cancelled = std::make_shared<CollectingReceiver>();
    const std::int64_t subscription = this->broker->subscribe(this->topic, 0, cancelled);
    const auto kept = this->subscribe(0);
    ASSERT_TRUE(cancelled->awaitSubscribed());
    ASSERT_TRUE(kept->awaitSubscribed());
    this->broker->cancel(subscription);
    this->broker->cancel(subscription);
    this->broker->cancel(1'000'000);
    this->publishOneByOne(1, 1);
    EXPECT_EQ(numbersOf(kept->await(1)), numbersFrom(1, 1));
    EXPECT_EQ(numbersOf(cancelled->deliveries()), std::vector<std::int64_t>{});
}

TYPED_TEST(BrokerContract, dropsTheReceiverOfACancelledSubscription)
{
    auto receiver = std::make_shared<CollectingReceiver>();
    const std::weak_ptr<CollectingReceiver> weak = receiver;
    const std::int64_t subscription = this->broker->subscribe(this->topic, 0, receiver);
    ASSERT_TRUE(receiver->awaitSubscribed());
    receiver.reset();
    this->broker->cancel(subscription);
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));
}

TYPED_TEST(BrokerContract, keepsTopicsApartWhateverTheirNames)
{
    const std::vector<TopicKey> topics{
        TopicKey{""},
        TopicKey{"a.b"},
        TopicKey{"a.*"},
        TopicKey{"a.>"},
        TopicKey{"a b\t\r\n"},
        TopicKey{"ü☃"},
        TopicKey{std::string(1'000, 'x')},
        TopicKey{"a", Parameters(Value(nullptr))},
        TopicKey{"a"},
        TopicKey{"a", boost::json::parse(R"({"league":4})")},
        TopicKey{"a", boost::json::parse(R"({"league":"4"})")},
    };
    for (std::size_t i = 0; i < topics.size(); ++i) {
        ASSERT_EQ(publishAndWait(*this->broker, topics[i], numberedFrom(static_cast<std::int64_t>(i), 1)).accepted, 1U);
    }
    for (std::size_t i = 0; i < topics.size(); ++i) {
        const auto receiver = std::make_shared<CollectingReceiver>();
        this->broker->subscribe(topics[i], 0, receiver);
        EXPECT_EQ(numbersOf(receiver->await(1)), std::vector<std::int64_t>(1, static_cast<std::int64_t>(i)));
    }
    const auto equalKey = std::make_shared<CollectingReceiver>();
    this->broker->subscribe(TopicKey{"a", boost::json::parse(R"({"league":4.0})")}, 0, equalKey);
    EXPECT_EQ(numbersOf(equalKey->await(1)), std::vector<std::int64_t>(1, 9));
}

TYPED_TEST(BrokerContract, replaysTheNewestMessagesWhenNotAllAreKept)
{
    this->broker = TypeParam::make(this->platform, 3);
    this->publishOneByOne(1, 10);
    const auto deliveries = this->subscribe(0)->await(3);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(8, 10));
    EXPECT_EQ(numbersOf(this->subscribe(timesOf(deliveries)[0])->await(2)), numbersFrom(9, 10));
}

TYPED_TEST(BrokerContract, goesOnWhenAReceiverThrows)
{
    class ThrowingReceiver final : public BrokerReceiver {
    public:
        void subscribed() override { throw std::runtime_error{"the receiver does not like it"}; }
        void refused(ServiceError /*reason*/) override {}
        void received(std::vector<Delivery> /*deliveries*/) override { throw std::runtime_error{"nor this"}; }
    };
    this->platform.setLogSink([](std::string_view /*line*/) {});
    this->broker->subscribe(this->topic, 0, std::make_shared<ThrowingReceiver>());
    const auto receiver = this->subscribe(0);
    ASSERT_TRUE(receiver->awaitSubscribed());
    this->publishOneByOne(1, 2);
    EXPECT_EQ(numbersOf(receiver->await(2)), numbersFrom(1, 2));
}

} // namespace
} // namespace vexa::host
