#include "BrokersUnderTest.hpp"
#include "CollectingReceiver.hpp"
#include "PublishCalls.hpp"
#include <host/broker/nats/NatsBroker.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

const TopicKey topic{"scores"};

class Outage : public ::testing::Test {
protected:
    Outage()
    {
        platform.setLogSink([](std::string_view /*line*/) {});
        options.publishTimeLimit = 0.5;
        options.requestTimeLimit = 0.5;
        options.heartbeatInterval = 0.3;
        options.pingInterval = 0.3;
        options.reconnectDelay = 0.05;
    }

    [[nodiscard]] static bool isUnavailable(const PublishResult& result)
    {
        return result.accepted == 0 && result.error && result.error->error == "BrokerUnavailable" &&
               !result.error->errorMessage.empty();
    }

    /// Publishes until it is accepted, as a publisher does who gets errors while there is no server.
    [[nodiscard]] static bool publishEventually(Broker& broker, std::int64_t number)
    {
        return eventually([&] { return publishAndWait(broker, topic, numberedFrom(number, 1)).accepted == 1; });
    }

    SystemPlatform platform{2};
    SingleNatsServer single;
    NatsBrokerOptions options = optionsOf(single.server());
};

TEST_F(Outage, isReportedWhileThereIsNoServerAndEndsWhenOneComes)
{
    single.server().kill();
    const auto broker = NatsBroker::make(options, platform);
    const auto receiver = std::make_shared<CollectingReceiver>();
    broker->subscribe(topic, 0, receiver);
    EXPECT_TRUE(isUnavailable(publishAndWait(*broker, topic, numberedFrom(1, 1))));
    EXPECT_FALSE(broker->status().isHealthy);
    EXPECT_NE(broker->status().text, "");
    EXPECT_EQ(receiver->steps(), std::vector<std::string>{});
    single.server().start();
    EXPECT_TRUE(receiver->awaitSubscribed());
    EXPECT_TRUE(eventually([&] { return broker->status().isHealthy; }));
    EXPECT_NE(broker->status().text.find(single.server().address()), std::string::npos);
    EXPECT_TRUE(publishEventually(*broker, 2));
    EXPECT_EQ(numbersOf(receiver->await(1)), numbersFrom(2, 2));
}

TEST_F(Outage, leavesSubscribersToCatchUpWithoutGapOrRepetition)
{
    const auto broker = NatsBroker::make(options, platform);
    const auto receiver = std::make_shared<CollectingReceiver>();
    broker->subscribe(topic, 0, receiver);
    ASSERT_TRUE(publishEventually(*broker, 1));
    for (std::int64_t number = 2; number <= 3; ++number) {
        single.server().kill();
        ASSERT_TRUE(eventually([&] { return !broker->status().isHealthy; }));
        EXPECT_TRUE(isUnavailable(publishAndWait(*broker, topic, numberedFrom(100, 1))));
        single.server().start();
        NatsBrokerOptions others = options;
        others.publishTimeLimit = 30;
        ASSERT_EQ(publishAndWait(*NatsBroker::make(others, platform), topic, numberedFrom(number, 1)).accepted, 1U);
        EXPECT_EQ(numbersOf(receiver->await(static_cast<std::size_t>(number))), numbersFrom(1, number));
    }
    EXPECT_EQ(receiver->steps(), (std::vector<std::string>{"subscribed", "received"}));
    EXPECT_GE(broker->figures().connects, 3U);
}

TEST_F(Outage, ofAServerThatHangsIsNoticedAndSaysThatPublicationsAreUnconfirmed)
{
    const auto broker = NatsBroker::make(options, platform);
    const auto receiver = std::make_shared<CollectingReceiver>();
    broker->subscribe(topic, 0, receiver);
    ASSERT_TRUE(publishEventually(*broker, 1));
    ASSERT_EQ(receiver->await(1).size(), 1U);
    single.server().suspend();
    const PublishResult result = publishAndWait(*broker, topic, numberedFrom(2, 1));
    EXPECT_EQ(result.accepted, 0U);
    ASSERT_TRUE(result.error.has_value());
    EXPECT_EQ(result.error->error, "PublicationUnconfirmed");
    EXPECT_TRUE(eventually([&] { return !broker->status().isHealthy; }));
    single.server().resume();
    ASSERT_TRUE(publishEventually(*broker, 3));
    // The unconfirmed one may have come or not, once and in its place.
    ASSERT_TRUE(eventually([&] {
        const auto numbers = numbersOf(receiver->deliveries());
        return std::find(numbers.begin(), numbers.end(), 3) != numbers.end();
    }));
    auto numbers = numbersOf(receiver->deliveries());
    std::erase(numbers, 2);
    EXPECT_EQ(numbers, (std::vector<std::int64_t>{1, 3}));
    EXPECT_TRUE(isRising(timesOf(receiver->deliveries())));
}

TEST_F(Outage, thatTookTheNewestMessagesFromTheStreamIsSurvived)
{
    const auto broker = NatsBroker::make(options, platform);
    const auto receiver = std::make_shared<CollectingReceiver>();
    broker->subscribe(topic, 0, receiver);
    ASSERT_TRUE(publishEventually(*broker, 1));
    ASSERT_TRUE(eventually([&] { return receiver->isNewest(1); }));
    single.server().kill();
    single.saveStore();
    single.server().start();
    for (std::int64_t number = 2; number <= 4; ++number) {
        ASSERT_TRUE(publishEventually(*broker, number));
    }
    ASSERT_TRUE(eventually([&] { return receiver->isNewest(4); }));
    single.server().kill();
    single.restoreStore();
    single.server().start();
    ASSERT_TRUE(publishEventually(*broker, 5));
    ASSERT_TRUE(eventually([&] { return receiver->isNewest(5); }));
    EXPECT_EQ(numbersOf(receiver->deliveries()), numbersFrom(1, 5));
    EXPECT_TRUE(isRising(timesOf(receiver->deliveries())));
}

TEST_F(Outage, holdsNoPublicationBackOnceTooManyWait)
{
    single.server().kill();
    options.waitingPayloads = 3;
    const auto broker = NatsBroker::make(options, platform);
    PublishResults results;
    broker->publish(topic, numberedFrom(1, 3), results.completion());
    broker->publish(topic, numberedFrom(4, 1), results.completion());
    const auto completed = results.await(2);
    ASSERT_EQ(completed.size(), 2U);
    ASSERT_TRUE(completed[0].error.has_value());
    EXPECT_EQ(completed[0].error->error, "BrokerOverloaded");
    EXPECT_TRUE(isUnavailable(completed[1]));
}

TEST_F(Outage, doesNotKeepABrokerFromStopping)
{
    single.server().kill();
    options.publishTimeLimit = 1'000;
    const auto broker = NatsBroker::make(options, platform);
    auto receiver = std::make_shared<CollectingReceiver>();
    const std::weak_ptr<CollectingReceiver> weak = receiver;
    broker->subscribe(topic, 0, std::move(receiver));
    PublishResults results;
    broker->publish(topic, numberedFrom(1, 1), results.completion());
    broker->stop();
    const auto completed = results.await(1);
    ASSERT_EQ(completed.size(), 1U);
    ASSERT_TRUE(completed.front().error.has_value());
    EXPECT_EQ(completed.front().error->error, "BrokerStopped");
    EXPECT_TRUE(eventually([&] { return weak.expired(); }));
    const PublishResult late = publishAndWait(*broker, topic, numberedFrom(2, 1));
    ASSERT_TRUE(late.error.has_value());
    EXPECT_EQ(late.error->error, "BrokerStopped");
    const auto refused = std::make_shared<CollectingReceiver>();
    broker->subscribe(topic, 0, refused);
    EXPECT_FALSE(refused->awaitSubscribed());
    EXPECT_EQ(refused->steps(), (std::vector<std::string>{"refused: BrokerStopped"}));
}

TEST_F(Outage, thatACompletionStopsTheBrokerInIsNoTrouble)
{
    auto broker = NatsBroker::make(options, platform);
    PublishResults results;
    const auto completion = results.completion();
    broker->publish(topic, numberedFrom(1, 1), [owned = broker, completion](PublishResult result) mutable {
        owned->stop();
        owned.reset();
        completion(std::move(result));
    });
    broker.reset();
    EXPECT_EQ(results.await(1).size(), 1U);
}

std::ptrdiff_t threadsOfThisProcess()
{
    const std::filesystem::directory_iterator threads{"/proc/self/task"};
    return std::distance(begin(threads), end(threads));
}

TEST(NatsBroker, leavesNoThreadBehind)
{
    NatsBroker::releaseLibrary();
    const std::ptrdiff_t before = threadsOfThisProcess();
    {
        SystemPlatform platform{2};
        const auto broker = NatsBroker::make(optionsOf(sharedServer()), platform);
        ASSERT_EQ(publishAndWait(*broker, topic, numberedFrom(1, 1)).accepted, 1U);
        EXPECT_GT(threadsOfThisProcess(), before);
    }
    NatsBroker::releaseLibrary();
    EXPECT_TRUE(eventually([&] { return threadsOfThisProcess() == before; }));
}

} // namespace
} // namespace vexa::host
