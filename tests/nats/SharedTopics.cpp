#include "BrokersUnderTest.hpp"
#include "CollectingReceiver.hpp"
#include "PublishCalls.hpp"
#include "SkewedPlatform.hpp"
#include <host/broker/nats/NatsBroker.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

const TopicKey topic{"scores"};

std::shared_ptr<CollectingReceiver> subscribe(Broker& broker, double since)
{
    auto receiver = std::make_shared<CollectingReceiver>();
    broker.subscribe(topic, since, receiver);
    return receiver;
}

class SharedTopics : public ::testing::Test {
protected:
    SystemPlatform platform{2};
    NatsBrokerOptions options = optionsOf(sharedServer());
};

TEST_F(SharedTopics, bringWhatOneBrokerPublishesToTheSubscribersOfAnother)
{
    const auto one = NatsBroker::make(options, platform);
    const auto other = NatsBroker::make(options, platform);
    const auto receiver = subscribe(*other, 0);
    ASSERT_TRUE(receiver->awaitSubscribed());
    ASSERT_EQ(publishAndWait(*one, topic, numberedFrom(1, 3)).accepted, 3U);
    EXPECT_EQ(numbersOf(receiver->await(3)), numbersFrom(1, 3));
}

TEST_F(SharedTopics, replayWhatAnotherBrokerHasJustStored)
{
    const auto one = NatsBroker::make(options, platform);
    const auto other = NatsBroker::make(options, platform);
    ASSERT_TRUE(subscribe(*other, 0)->awaitSubscribed());
    for (std::int64_t number = 1; number <= 25; ++number) {
        ASSERT_EQ(publishAndWait(*one, topic, numberedFrom(number, 1)).accepted, 1U);
        const auto deliveries = subscribe(*other, 0)->await(static_cast<std::size_t>(number));
        EXPECT_EQ(numbersOf(deliveries), numbersFrom(1, number));
        EXPECT_EQ(replayMarksOf(deliveries), std::vector<bool>(static_cast<std::size_t>(number), true));
    }
}

TEST_F(SharedTopics, takeAPublicationOnceThoughItComesAgainThroughAnotherBroker)
{
    const auto one = NatsBroker::make(options, platform);
    const auto other = NatsBroker::make(options, platform);
    const auto receiver = subscribe(*other, 0);
    ASSERT_TRUE(receiver->awaitSubscribed());
    PublishResults results;
    const auto publish = [&results](NatsBroker& broker, std::int64_t number) {
        broker.publishOnce("publisher\n" + std::to_string(number), topic, numberedFrom(number, 1),
                           results.completion());
    };
    for (std::int64_t number = 1; number <= 5; ++number) {
        publish(*one, number);
    }
    ASSERT_EQ(results.await(5).size(), 5U);
    for (std::int64_t number = 3; number <= 8; ++number) {
        publish(*other, number);
    }
    publish(*other, 8);
    const auto completed = results.await(12);
    ASSERT_EQ(completed.size(), 12U);
    for (const PublishResult& result : completed) {
        EXPECT_EQ(result.accepted, 1U);
        EXPECT_FALSE(result.error);
    }
    ASSERT_EQ(publishAndWait(*one, topic, numberedFrom(9, 1)).accepted, 1U);
    EXPECT_EQ(numbersOf(receiver->await(9)), numbersFrom(1, 9));
    EXPECT_EQ(other->figures().duplicateAnswers, 4U);
}

TEST_F(SharedTopics, haveOneOrderAndRisingTimesForAllWhateverTheClocks)
{
    constexpr std::int64_t publications = 100;
    constexpr std::int64_t batch = 3;
    const std::vector<double> skews{0, 5, -5, 0.001};
    std::vector<std::unique_ptr<SkewedPlatform>> platforms;
    std::vector<std::shared_ptr<NatsBroker>> brokers;
    std::vector<std::shared_ptr<CollectingReceiver>> receivers;
    for (const double skew : skews) {
        platforms.push_back(std::make_unique<SkewedPlatform>(skew));
        brokers.push_back(NatsBroker::make(options, *platforms.back()));
        receivers.push_back(subscribe(*brokers.back(), 0));
        ASSERT_TRUE(receivers.back()->awaitSubscribed());
    }
    std::vector<std::thread> publishers;
    for (std::size_t index = 0; index < brokers.size(); ++index) {
        publishers.emplace_back([&, index] {
            PublishResults results;
            const auto first = static_cast<std::int64_t>(index) * publications * batch;
            for (std::int64_t i = 0; i < publications; ++i) {
                brokers[index]->publish(topic, numberedFrom(first + i * batch, batch), results.completion());
                if (i % 4 == 0) {
                    static_cast<void>(results.await(static_cast<std::size_t>(i)));
                }
            }
        });
    }
    for (std::thread& publisher : publishers) {
        publisher.join();
    }
    const std::size_t all = skews.size() * static_cast<std::size_t>(publications * batch);
    const auto reference = receivers.front()->await(all);
    auto numbers = numbersOf(reference);
    const auto times = timesOf(reference);
    EXPECT_TRUE(isRising(times));
    for (const auto& receiver : receivers) {
        const auto deliveries = receiver->await(all);
        EXPECT_EQ(numbersOf(deliveries), numbers);
        EXPECT_EQ(timesOf(deliveries), times);
    }
    const auto newcomer = NatsBroker::make(options, platform);
    const auto replayed = subscribe(*newcomer, 0)->await(all);
    EXPECT_EQ(numbersOf(replayed), numbers);
    EXPECT_EQ(timesOf(replayed), times);
    const auto middle = static_cast<std::ptrdiff_t>(all / 2);
    const auto fromTheMiddle = subscribe(*NatsBroker::make(options, platform), times[all / 2 - 1])->await(all / 2);
    EXPECT_EQ(numbersOf(fromTheMiddle), (std::vector<std::int64_t>{numbers.begin() + middle, numbers.end()}));
    for (std::size_t i = 0; i + 2 < all; i += static_cast<std::size_t>(batch)) {
        EXPECT_EQ(numbers[i + 1], numbers[i] + 1);
        EXPECT_EQ(numbers[i + 2], numbers[i] + 2);
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(numbers, numbersFrom(0, static_cast<std::int64_t>(all) - 1));
}

TEST_F(SharedTopics, keepTheirHistoryWhenTheirBrokersAreGone)
{
    static_cast<void>(publishAndWait(*NatsBroker::make(options, platform), topic, numberedFrom(1, 2)));
    const auto second = NatsBroker::make(options, platform);
    ASSERT_EQ(publishAndWait(*second, topic, numberedFrom(3, 1)).accepted, 1U);
    const auto deliveries = subscribe(*second, 0)->await(3);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(1, 3));
    EXPECT_TRUE(isRising(timesOf(deliveries)));
}

TEST_F(SharedTopics, goOnRisingBehindABrokerWhoseClockWasAhead)
{
    SkewedPlatform ahead{100'000};
    ASSERT_EQ(publishAndWait(*NatsBroker::make(options, ahead), topic, numberedFrom(1, 2)).accepted, 2U);
    const auto broker = NatsBroker::make(options, platform);
    ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(3, 2)).accepted, 2U);
    const auto deliveries = subscribe(*broker, 0)->await(4);
    const auto times = timesOf(deliveries);
    ASSERT_EQ(times.size(), 4U);
    EXPECT_TRUE(isRising(times));
    EXPECT_EQ(numbersOf(subscribe(*broker, times[1])->await(2)), numbersFrom(3, 4));
    EXPECT_EQ(numbersOf(subscribe(*NatsBroker::make(options, platform), times[1])->await(2)), numbersFrom(3, 4));
}

TEST_F(SharedTopics, areReplayedFromAnyPointOfALongHistory)
{
    constexpr std::int64_t count = 900;
    options.cachedPayloadsPerTopic = 10;
    const auto broker = NatsBroker::make(options, platform);
    PublishResults results;
    for (std::int64_t number = 1; number <= count; ++number) {
        broker->publish(topic, numberedFrom(number, 1), results.completion());
        broker->publish(TopicKey{"beside"}, numberedFrom(number, 1), results.completion());
        if (number % 3 == 0) {
            static_cast<void>(results.await(static_cast<std::size_t>(2 * number)));
        }
    }
    const auto times = timesOf(subscribe(*broker, 0)->await(count));
    ASSERT_EQ(times.size(), static_cast<std::size_t>(count));
    for (const std::int64_t seen : {1, 2, 200, 451, 700, 889, 899}) {
        const auto receiver = subscribe(*broker, times[static_cast<std::size_t>(seen - 1)]);
        EXPECT_EQ(numbersOf(receiver->await(static_cast<std::size_t>(count - seen))), numbersFrom(seen + 1, count));
    }
    EXPECT_GT(broker->figures().historyReads, 0U);
    EXPECT_EQ(broker->figures().gaps, 0U);
}

TEST_F(SharedTopics, refuseAPublicationThatNoServerTakes)
{
    const auto broker = NatsBroker::make(options, platform);
    std::vector<Dictionary> payloads = numberedFrom(1, 1);
    payloads.front()["text"] = std::string(2'000'000, 'x');
    const PublishResult result = publishAndWait(*broker, topic, payloads);
    EXPECT_EQ(result.accepted, 0U);
    ASSERT_TRUE(result.error.has_value());
    EXPECT_EQ(result.error->error, "PublicationTooLarge");
    ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(2, 1)).accepted, 1U);
    EXPECT_EQ(numbersOf(subscribe(*broker, 0)->await(1)), numbersFrom(2, 2));
}

TEST_F(SharedTopics, keepAPublicationThatFillsARecord)
{
    const auto broker = NatsBroker::make(options, platform);
    std::vector<Dictionary> payloads = numberedFrom(1, 2);
    payloads.front()["text"] = std::string(900'000, 'x');
    ASSERT_EQ(publishAndWait(*broker, topic, payloads).accepted, 2U);
    const auto deliveries = subscribe(*broker, 0)->await(2);
    ASSERT_EQ(deliveries.size(), 2U);
    EXPECT_EQ(deliveries.front().payload->at("text"), payloads.front().at("text"));
    EXPECT_EQ(numbersOf(subscribe(*NatsBroker::make(options, platform), 0)->await(2)), numbersFrom(1, 2));
}

TEST_F(SharedTopics, loseWhatIsOlderThanTheStreamKeeps)
{
    options.publishTimeLimit = 0.9;
    options.retention.maximumAge = 1;
    const auto broker = NatsBroker::make(options, platform);
    const auto publish = [&](std::int64_t number) {
        return eventually([&] { return publishAndWait(*broker, topic, numberedFrom(number, 1)).accepted == 1; });
    };
    ASSERT_TRUE(publish(1));
    std::vector<std::int64_t> kept;
    std::int64_t newest = 1;
    EXPECT_TRUE(eventually([&] {
        ++newest;
        const auto fresh = NatsBroker::make(options, platform);
        const auto receiver = subscribe(*fresh, 1);
        if (publish(newest) && eventually([&] { return receiver->isNewest(newest); })) {
            kept = numbersOf(receiver->deliveries());
        }
        return !kept.empty() && kept.front() > 1;
    }));
    const std::int64_t oldest = kept.empty() ? 0 : kept.front();
    EXPECT_TRUE(std::is_sorted(kept.begin(), kept.end()));
    EXPECT_GT(oldest, 1);
    // The broker that has them in memory still does not replay them either.
    const auto late = subscribe(*broker, 1);
    ASSERT_TRUE(publish(newest + 1));
    ASSERT_TRUE(eventually([&] { return late->isNewest(newest + 1); }));
    EXPECT_GE(numbersOf(late->deliveries()).front(), oldest);
}

TEST_F(SharedTopics, loseTheOldestWhenTheStreamIsFull)
{
    constexpr std::int64_t count = 40;
    options.retention.maximumBytes = 200'000;
    const auto broker = NatsBroker::make(options, platform);
    for (std::int64_t number = 1; number <= count; ++number) {
        std::vector<Dictionary> payloads = numberedFrom(number, 1);
        payloads.front()["text"] = std::string(10'000, 'x');
        ASSERT_EQ(publishAndWait(*broker, topic, payloads).accepted, 1U);
    }
    const auto fresh = NatsBroker::make(options, platform);
    const auto receiver = subscribe(*fresh, 1);
    ASSERT_TRUE(eventually([&] { return receiver->isNewest(count); }));
    const auto deliveries = receiver->deliveries();
    const auto numbers = numbersOf(deliveries);
    EXPECT_GT(numbers.front(), count / 2 - 2);
    EXPECT_LT(numbers.front(), count);
    EXPECT_EQ(numbers, numbersFrom(numbers.front(), count));
    EXPECT_TRUE(isRising(timesOf(deliveries)));
}

TEST_F(SharedTopics, areForgottenWhenNobodyUsesThemAndFoundAgain)
{
    options.topicIdleTime = 0.1;
    const auto broker = NatsBroker::make(options, platform);
    ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(1, 1)).accepted, 1U);
    EXPECT_TRUE(eventually([&] { return broker->figures().topics == 0; }));
    ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(2, 1)).accepted, 1U);
    EXPECT_EQ(broker->figures().topics, 1U);
    EXPECT_EQ(numbersOf(subscribe(*broker, 0)->await(2)), numbersFrom(1, 2));
}

TEST_F(SharedTopics, goOnWhenTheServerLosesWhatBringsThem)
{
    options.heartbeatInterval = 0.2;
    const auto broker = NatsBroker::make(options, platform);
    const auto other = NatsBroker::make(options, platform);
    const auto receiver = subscribe(*broker, 0);
    for (std::int64_t number = 1; number <= 3; ++number) {
        const auto isFed = [&] { return removeConsumers(sharedServer(), options.stream) > 0; };
        ASSERT_TRUE(eventually(isFed));
        ASSERT_EQ(publishAndWait(*other, topic, numberedFrom(number, 1)).accepted, 1U);
        EXPECT_EQ(numbersOf(receiver->await(static_cast<std::size_t>(number))), numbersFrom(1, number));
    }
    EXPECT_EQ(receiver->steps(), (std::vector<std::string>{"subscribed", "received"}));
}

TEST_F(SharedTopics, outliveTheirStream)
{
    const auto broker = NatsBroker::make(options, platform);
    const auto receiver = subscribe(*broker, 0);
    ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(1, 2)).accepted, 2U);
    EXPECT_EQ(numbersOf(receiver->await(2)), numbersFrom(1, 2));
    removeStream(sharedServer(), options.stream);
    ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(3, 2)).accepted, 2U);
    const auto deliveries = receiver->await(4);
    EXPECT_EQ(numbersOf(deliveries), numbersFrom(1, 4));
    EXPECT_TRUE(isRising(timesOf(deliveries)));
}

TEST(NatsBrokerOptions, thatCannotWorkAreRefused)
{
    NatsBrokerOptions options;
    options.servers.clear();
    EXPECT_THROW(static_cast<void>(NatsBroker::make(options)), std::invalid_argument);
    options = {};
    options.stream = "with.dot";
    EXPECT_THROW(static_cast<void>(NatsBroker::make(options)), std::invalid_argument);
    options = {};
    options.replicas = 0;
    EXPECT_THROW(static_cast<void>(NatsBroker::make(options)), std::invalid_argument);
    options = {};
    options.retention.recordsPerTopic = 0;
    EXPECT_THROW(static_cast<void>(NatsBroker::make(options)), std::invalid_argument);
    options = {};
    options.publishTimeLimit = 0;
    EXPECT_THROW(static_cast<void>(NatsBroker::make(options)), std::invalid_argument);
    options = {};
    options.retention.maximumAge = options.publishTimeLimit;
    EXPECT_THROW(static_cast<void>(NatsBroker::make(options)), std::invalid_argument);
}

} // namespace
} // namespace vexa::host
