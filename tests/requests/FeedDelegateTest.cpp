#include "ClientUnderTest.hpp"
#include <testing/RecordingFeed.hpp>

#include <gtest/gtest.h>

#include <memory>

namespace vexa::testing {

namespace {

TEST(FeedDelegate, IsSetLaterOnTheStateQueue)
{
    ClientUnderTest under;
    const auto feed = std::make_shared<RecordingFeed>();

    under.client->setMessageFeedDelegate(feed);
    EXPECT_EQ(feed.use_count(), 2) << "the test's reference and that of the work item";
    EXPECT_EQ(under.client->state().delegate, feed);
}

TEST(FeedDelegate, IsHeldStrongly)
{
    ClientUnderTest under;
    auto feed = std::make_shared<RecordingFeed>();
    const std::weak_ptr<RecordingFeed> watched = feed;
    under.client->setMessageFeedDelegate(std::move(feed));
    under.platform.runUntilIdle();

    EXPECT_FALSE(watched.expired());
    under.client.reset();
    EXPECT_TRUE(watched.expired());
}

TEST(FeedDelegate, IsReleasedWhenAnotherReplacesIt)
{
    ClientUnderTest under;
    auto first = std::make_shared<RecordingFeed>();
    const std::weak_ptr<RecordingFeed> watched = first;
    const auto second = std::make_shared<RecordingFeed>();
    under.client->setMessageFeedDelegate(std::move(first));
    under.client->setMessageFeedDelegate(second);
    under.platform.runUntilIdle();

    EXPECT_TRUE(watched.expired());
    EXPECT_EQ(under.client->state().delegate, second);
}

TEST(FeedDelegate, TakesTheMessagesThatComeAfterItWasSet)
{
    for (const std::uint64_t seed : seeds(10)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        const auto first = std::make_shared<RecordingFeed>();
        const auto second = std::make_shared<RecordingFeed>();
        under.client->setMessageFeedDelegate(first);
        under.confirm("scores", "s-1");

        under.transport->deliver(dataMessage({entry("s-1", {{"score", 1}})}));
        under.client->setMessageFeedDelegate(second);
        under.transport->deliver(dataMessage({entry("s-1", {{"score", 2}})}));
        under.platform.runUntilIdle();

        ASSERT_EQ(first->received().size(), 1U);
        EXPECT_EQ(Value(*first->received()[0].message), json(R"({"subscriptionId": "s-1", "payload": {"score": 1}})"));
        ASSERT_EQ(second->received().size(), 1U);
        EXPECT_EQ(Value(*second->received()[0].message), json(R"({"subscriptionId": "s-1", "payload": {"score": 2}})"));
    }
}

TEST(FeedDelegate, MayBeTakenAway)
{
    ClientUnderTest under;
    const auto feed = std::make_shared<RecordingFeed>();
    under.client->setMessageFeedDelegate(feed);
    under.client->setMessageFeedDelegate(nullptr);
    under.confirm("scores", "s-1");

    under.service.data({entry("s-1", {{"score", 1}})});
    EXPECT_EQ(feed->received().size(), 0U);
    EXPECT_EQ(feed.use_count(), 1);
}

TEST(FeedDelegate, MayCreateAndRemoveSubscriptionsWhileItIsCalled)
{
    for (const std::uint64_t seed : seeds(10)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        const auto feed = std::make_shared<RecordingFeed>();
        feed->onMessage = [&client = *under.client](const RecordingFeed::Received& received) {
            client.removeSubscription(received.hash);
            client.createSubscription("news", std::nullopt, 0.0);
        };
        under.client->setMessageFeedDelegate(feed);
        const std::string hash = under.confirm("scores", "s-1");
        under.transport->takeSent();

        under.service.data({entry("s-1")});

        EXPECT_EQ(under.takeSent(), listOf({subscribeRequest("O-002", {topic("news")})}));
        EXPECT_EQ(under.client->state().removedSubscriptions, TextSet{hash});
    }
}

} // namespace

} // namespace vexa::testing
