#include <testing/RecordingClient.hpp>
#include <testing/RecordingFeed.hpp>
#include <testing/RecordingListener.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::testing {
namespace {

const Message message = std::make_shared<const Dictionary>(Dictionary{{"subscriptionId", "s-1"}});

TEST(RecordingFeed, keepsWhatItIsGiven)
{
    RecordingFeed feed;
    feed.messageFeed("hash", message, true);
    const auto received = feed.received();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].hash, "hash");
    EXPECT_EQ(received[0].message, message);
    EXPECT_TRUE(received[0].isTerminating);
    EXPECT_EQ(feed.take().size(), 1U);
    EXPECT_TRUE(feed.received().empty());
}

TEST(RecordingFeed, mayThrowWhatItsHookThrows)
{
    RecordingFeed feed;
    feed.onMessage = [](const RecordingFeed::Received&) { throw std::runtime_error{"the feed's"}; };
    EXPECT_THROW(feed.messageFeed("hash", message, false), std::runtime_error);
    EXPECT_EQ(feed.received().size(), 1U);
}

TEST(RecordingListener, keepsWhatItIsGiven)
{
    RecordingListener listener;
    listener.messageReceived(message, false);
    const auto received = listener.take();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].message, message);
    EXPECT_FALSE(received[0].isTerminating);
    EXPECT_TRUE(listener.received().empty());
}

TEST(RecordingListener, callsItsHookWithEachMessage)
{
    RecordingListener listener;
    std::vector<Message> seen;
    listener.onMessage = [&](const RecordingListener::Received& each) {
        seen.push_back(each.message);
        EXPECT_EQ(listener.received().size(), seen.size());
    };
    listener.messageReceived(message, false);
    listener.messageReceived(message, true);
    EXPECT_EQ(seen.size(), 2U);
}

TEST(RecordingClient, keepsWhatItIsAskedFor)
{
    RecordingClient client;
    EXPECT_EQ(client.createSubscription("scores", Value{{"league", 4}}, 5.0), R"(scores#{"league":4})");
    EXPECT_EQ(client.createSubscription("scores", std::nullopt, 0.0), "scores#");
    client.removeSubscription("scores#");
    const auto creations = client.creations();
    ASSERT_EQ(creations.size(), 2U);
    EXPECT_EQ(creations[0].name, "scores");
    EXPECT_EQ(creations[0].params, (Value{{"league", 4}}));
    EXPECT_EQ(creations[0].updatedAt, 5.0);
    EXPECT_EQ(creations[1].params, std::nullopt);
    EXPECT_EQ(client.removals(), std::vector<std::string>{"scores#"});
}

TEST(RecordingClient, answersAsItIsTold)
{
    RecordingClient client;
    client.hash = [](std::string_view name, const Parameters&) { return "hash of " + std::string{name}; };
    EXPECT_EQ(client.subscriptionHash("scores", std::nullopt), "hash of scores");
    EXPECT_EQ(client.createSubscription("news", std::nullopt, 0.0), "hash of news");
    client.onCreate = [](const RecordingClient::Creation&) { throw std::runtime_error{"the client's"}; };
    EXPECT_THROW(client.createSubscription("news", std::nullopt, 0.0), std::runtime_error);
    EXPECT_EQ(client.creations().size(), 2U);
}

TEST(RecordingClient, deliversToItsDelegate)
{
    RecordingClient client;
    client.deliver("hash", {{"subscriptionId", "s-1"}});
    const auto feed = std::make_shared<RecordingFeed>();
    client.setMessageFeedDelegate(feed);
    EXPECT_EQ(client.delegate(), feed);
    const Message delivered = client.deliver("hash", {{"subscriptionId", "s-2"}}, true);
    ASSERT_EQ(feed->received().size(), 1U);
    EXPECT_EQ(feed->received()[0].message, delivered);
    EXPECT_TRUE(feed->received()[0].isTerminating);
}

} // namespace
} // namespace vexa::testing
