#include "Conversation.hpp"
#include "QueueWatch.hpp"
#include <VexaClient/subscription_client/BatchFeed.hpp>

#include <stdexcept>

namespace vexa::testing {
namespace {

Dictionary numbered(std::string_view subscriptionId, int number)
{
    return entry(subscriptionId, {{"number", number}});
}

/// A feed that takes batches, and tells whether it was called as code of the host.
class PromptFeed final : public BatchFeed {
public:
    explicit PromptFeed(const VirtualPlatform& platform) noexcept : platform_{platform} {}

    void messageFeed(std::string_view, const Message&, bool) override { FAIL() << "a batch was expected"; }

    void batchFeed(FedBatch batch) override
    {
        isHostCode.insert(isHostCode.end(), batch.size(), platform_.isInHostCode());
        throw std::runtime_error{"the prompt feed is full"};
    }

    std::vector<bool> isHostCode;

private:
    const VirtualPlatform& platform_;
};

std::vector<std::int64_t> numbersOf(const std::vector<RecordingFeed::Received>& received)
{
    std::vector<std::int64_t> numbers;
    for (const RecordingFeed::Received& each : received) {
        numbers.push_back(each.message->at("payload").at("number").as_int64());
    }
    return numbers;
}

TEST(FeedOrder, IsThatOfTheMessagesWithinABatchAndAcrossBatches)
{
    for (const std::uint64_t seed : seeds(100)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        c.subscribe("scores", "s-1");
        c.subscribe("news", "s-2");
        c.startAfresh();

        std::vector<std::int64_t> expected;
        for (int batch = 0; batch < 10; ++batch) {
            std::vector<Dictionary> entries;
            for (int i = 0; i < 4; ++i) {
                expected.push_back(10 * batch + i);
                entries.push_back(numbered(i % 2 == 0 ? "s-1" : "s-2", 10 * batch + i));
            }
            c.transport->deliver(dataMessage(entries));
            if (batch % 3 == 2) {
                c.platform.runOne();
            }
        }
        c.platform.runUntilIdle();

        EXPECT_EQ(numbersOf(c.feed->take()), expected);
    }
}

TEST(FeedOrder, IsKeptWhenAMessageArrivesWhileTheFeedIsCalled)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        c.subscribe("scores", "s-1");
        bool isFirst = true;
        bool isInside = false;
        c.feed->onMessage = [&](const RecordingFeed::Received&) {
            EXPECT_FALSE(std::exchange(isInside, true));
            if (std::exchange(isFirst, false)) {
                c.transport->deliver(dataMessage({numbered("s-1", 3)}));
                c.platform.runUntilIdle();
            }
            isInside = false;
        };

        c.service.data({numbered("s-1", 1), numbered("s-1", 2)});

        EXPECT_EQ(numbersOf(c.feed->take()), (std::vector<std::int64_t>{1, 2, 3}));
    }
}

TEST(FeedOrder, ComesWithEachCallOnTheCallbackQueueAlone)
{
    Conversation c;
    QueueWatch watch{c.platform};
    c.client = VexaOruClient::make(watch, c.container);
    c.client->setMessageFeedDelegate(c.feed);
    std::vector<std::vector<std::string>> queues;
    c.feed->onMessage = [&](const RecordingFeed::Received&) { queues.push_back(watch.running()); };

    c.subscribe("scores", "s-1");
    c.service.data({entry("s-1"), terminatingEntry("s-1")});

    EXPECT_EQ(queues, (std::vector<std::vector<std::string>>{{"vexacb"}, {"vexacb"}}));
}

TEST(FeedOrder, ComesWithEachCallAsCodeOfTheHost)
{
    Conversation c;
    std::vector<bool> isHostCode;
    c.feed->onMessage = [&](const RecordingFeed::Received&) { isHostCode.push_back(c.platform.isInHostCode()); };
    c.subscribe("scores", "s-1");

    c.service.data({entry("s-1"), entry("s-1")});

    EXPECT_EQ(isHostCode, (std::vector<bool>{true, true}));
}

TEST(FeedOrder, MakesNoRoomForAFeedThatReturnsPromptlyYetWithstandsItsFaults)
{
    Conversation c;
    const auto prompt = std::make_shared<PromptFeed>(c.platform);
    c.client->setMessageFeedDelegate(prompt);
    c.subscribe("scores", "s-1");
    c.startAfresh();

    c.service.data({entry("s-1"), entry("s-1")});
    c.service.data({entry("s-1")});

    EXPECT_EQ(prompt->isHostCode, (std::vector<bool>{false, false, false}));
    EXPECT_EQ(c.log(), Lines(2, "VEXA: VexaFeed::messageFeed threw: the prompt feed is full"));
}

TEST(FeedOrder, NeverHasACallInsideTheDeliveryOrTheHandlingOfAMessage)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();

    c.transport->deliver(dataMessage({entry("s-1")}));
    EXPECT_EQ(c.fed(), Values{});
    EXPECT_TRUE(c.platform.runOne());
    EXPECT_EQ(c.fed(), Values{});
    EXPECT_TRUE(c.platform.runOne());
    EXPECT_EQ(c.fed().size(), 1U);
}

TEST(FeedOrder, LetsTheFeedCallTheClientBack)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 10.0);
    std::string answer;
    c.feed->onMessage = [&](const RecordingFeed::Received&) {
        answer = c.client->createSubscription("scores", std::nullopt, 5.0);
        c.client->removeSubscription(answer);
    };

    c.service.data({entry("s-1")});

    EXPECT_EQ(answer, hash);
    EXPECT_EQ(c.table("removed"), setOf({hash}));
}

TEST(FeedOrder, GivesTheCallsThatWereSubmittedToTheFeedOfThatMoment)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        const std::string hash = c.subscribe("scores", "s-1");
        const auto next = std::make_shared<RecordingFeed>();

        c.transport->deliver(dataMessage({numbered("s-1", 1), numbered("s-1", 2)}));
        c.client->setMessageFeedDelegate(next);
        c.transport->deliver(dataMessage({numbered("s-1", 3)}));
        c.platform.runUntilIdle();

        EXPECT_EQ(numbersOf(c.feed->take()), (std::vector<std::int64_t>{1, 2}));
        EXPECT_EQ(numbersOf(next->take()), (std::vector<std::int64_t>{3}));
    }
}

TEST(FeedOrder, GivesTheCallsThatWereSubmittedToTheFeedThoughItIsTakenAway)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.transport->deliver(dataMessage({numbered("s-1", 1)}));
    c.client->setMessageFeedDelegate(nullptr);
    c.transport->deliver(dataMessage({numbered("s-1", 2)}));
    c.platform.runUntilIdle();

    EXPECT_EQ(numbersOf(c.feed->take()), (std::vector<std::int64_t>{1}));
}

TEST(FeedOrder, KeepsTheFeedAliveUntilItsLastCallIsDone)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        std::vector<std::int64_t> numbers;
        c.feed->onMessage = [&numbers](const RecordingFeed::Received& each) {
            numbers.push_back(each.message->at("payload").at("number").as_int64());
        };
        const std::weak_ptr<RecordingFeed> alive = c.feed;
        c.subscribe("scores", "s-1");
        c.transport->deliver(dataMessage({numbered("s-1", 1), numbered("s-1", 2)}));
        c.client->setMessageFeedDelegate(nullptr);
        c.feed.reset();

        EXPECT_FALSE(alive.expired());
        c.platform.runUntilIdle();

        EXPECT_EQ(numbers, (std::vector<std::int64_t>{1, 2}));
        EXPECT_TRUE(alive.expired());
    }
}

TEST(FeedOrder, DoesNotChangeForARemovalThatComesAfterTheMessage)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        const std::string hash = c.subscribe("scores", "s-1");

        c.transport->deliver(dataMessage({numbered("s-1", 1)}));
        c.client->removeSubscription(hash);
        c.transport->deliver(dataMessage({numbered("s-1", 2)}));
        c.platform.runUntilIdle();

        EXPECT_EQ(numbersOf(c.feed->take()), (std::vector<std::int64_t>{1}));
    }
}

} // namespace
} // namespace vexa::testing
