#include "Coroutine.hpp"
#include "Fixtures.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <stdexcept>

namespace vexa {
namespace {

using testing::RecordingListener;
using testing::replayHint;

const Lines removedByTheHost{"VEXA: VexaSubscriptionStream unregistered listener - 1", "VEXA: removing listener 1",
                             "VEXA: removing subscription"};

const Lines endedByTheService{"VEXA: removing listener 1", "VEXA: removing subscription",
                              "VEXA: VexaSubscriptionStream unregistered listener - 1",
                              "VEXA: No subscription registered for 1"};

/// Nothing of the stream is left in the manager, and its client was told once.
void expectUnregisteredOnce(ManagerOverRecordingClient& under, std::uint64_t seed)
{
    EXPECT_EQ(under.client->removals(), (Hashes{"scores#"})) << replayHint(seed);
    EXPECT_TRUE(under.manager->state().listenersById.empty()) << replayHint(seed);
    EXPECT_TRUE(under.manager->state().listenersBySub.empty()) << replayHint(seed);
}

/// A stream of a manager, with its lines about its making taken.
struct OneStream : ManagerOverRecordingClient {
    explicit OneStream(std::uint64_t seed = testing::defaultSeed())
        : ManagerOverRecordingClient{seed}, stream{createStream("scores")}
    {
        platform.takeLogLines();
    }

    std::optional<Stream> stream;
};

TEST(StreamEnd, ByTheServiceIsLoggedWithASecondHarmlessRemoval)
{
    for (const std::uint64_t seed : testing::seeds(50)) {
        OneStream under{seed};
        under.deliver("scores#", numbered(1), true);
        EXPECT_EQ(under.platform.takeLogLines(), endedByTheService) << replayHint(seed);
        expectUnregisteredOnce(under, seed);
        EXPECT_EQ(taken(*under.stream), (Deliveries{{numbered(1), true}})) << replayHint(seed);
        EXPECT_FALSE(under.stream->wait()) << replayHint(seed);
    }
}

TEST(StreamEnd, ByTheServiceIsHandledInsideTheCallbackThatBringsIt)
{
    OneStream under;
    under.client->deliver("scores#", numbered(1), true);
    under.platform.runOne();
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: removing listener 1", "VEXA: removing subscription"}));
    // The registry's own reference to the listener goes first, on the queue of the callback.
    under.platform.runOne();
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{}));
    under.platform.runOne();
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: VexaSubscriptionStream unregistered listener - 1"}));
    EXPECT_EQ(taken(*under.stream), (Deliveries{{numbered(1), true}}));
    EXPECT_TRUE(under.stream->isExhausted());
}

TEST(StreamEnd, ByTheServiceIsFinalForTheHost)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        OneStream under{seed};
        under.deliver("scores#", numbered(1), true);
        under.platform.takeLogLines();
        under.stream->cancel();
        under.stream.reset();
        under.platform.runUntilIdle();
        EXPECT_EQ(under.platform.takeLogLines(), (Lines{})) << replayHint(seed);
        expectUnregisteredOnce(under, seed);
    }
}

TEST(StreamEnd, ByDroppingRemovesTheListenerAndWithItTheSubscription)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        OneStream under{seed};
        under.stream.reset();
        EXPECT_EQ(under.platform.logLines().back(), removedByTheHost.front()) << replayHint(seed);
        under.platform.runUntilIdle();
        EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost) << replayHint(seed);
        expectUnregisteredOnce(under, seed);
    }
}

TEST(StreamEnd, ByDroppingLeavesTheSubscriptionToOthers)
{
    OneStream under;
    const Stream other = under.createStream("scores");
    under.platform.takeLogLines();
    under.stream.reset();
    under.platform.runUntilIdle();
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{"VEXA: VexaSubscriptionStream unregistered listener - 1",
                                                    "VEXA: removing listener 1", "VEXA: still had other listeners"}));
    EXPECT_EQ(under.client->removals(), (Hashes{}));
}

TEST(StreamEnd, ByCancellingHappensOnce)
{
    OneStream under;
    under.stream->cancel();
    under.stream->cancel();
    under.stream.reset();
    under.platform.runUntilIdle();
    EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost);
    expectUnregisteredOnce(under, under.platform.seed());
}

TEST(StreamEnd, ByCancellingDropsWhatWaited)
{
    OneStream under;
    under.deliver("scores#", numbered(1));
    under.stream->cancel();
    under.deliver("scores#", numbered(2));
    EXPECT_EQ(taken(*under.stream), (Deliveries{}));
    EXPECT_TRUE(under.stream->isExhausted());
}

TEST(StreamEnd, OfManyStreamsOfATopicComesOnceForEach)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        OneStream under{seed};
        Stream second = under.createStream("scores");
        under.platform.takeLogLines();
        under.deliver("scores#", numbered(1), true);
        Lines lines = under.platform.takeLogLines();
        const Lines removals{lines.begin(), lines.begin() + std::min<std::ptrdiff_t>(4, std::ssize(lines))};
        EXPECT_EQ(removals, (Lines{"VEXA: removing listener 1", "VEXA: still had other listeners",
                                   "VEXA: removing listener 2", "VEXA: removing subscription"}))
            << replayHint(seed);
        std::sort(lines.begin() + std::ssize(removals), lines.end());
        EXPECT_EQ((Lines{lines.begin() + std::ssize(removals), lines.end()}),
                  (Lines{"VEXA: No subscription registered for 1", "VEXA: No subscription registered for 2",
                         "VEXA: VexaSubscriptionStream unregistered listener - 1",
                         "VEXA: VexaSubscriptionStream unregistered listener - 2"}))
            << replayHint(seed);
        expectUnregisteredOnce(under, seed);
        EXPECT_EQ(taken(second), (Deliveries{{numbered(1), true}})) << replayHint(seed);
    }
}

TEST(StreamEnd, InItsOwnLoopBody)
{
    for (const std::uint64_t seed : testing::seeds(50)) {
        OneStream under{seed};
        under.client->deliver("scores#", numbered(1));
        under.client->deliver("scores#", numbered(2));
        Deliveries received;
        for (const auto& element : *under.stream) {
            received.push_back({*element.message, element.isTerminating});
            under.stream.reset();
        }
        under.platform.runUntilIdle();
        EXPECT_EQ(received, (Deliveries{{numbered(1), false}})) << replayHint(seed);
        EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost) << replayHint(seed);
        expectUnregisteredOnce(under, seed);
    }
}

TEST(StreamEnd, InsideTheCallbackOfAnotherListener)
{
    for (const std::uint64_t seed : testing::seeds(50)) {
        OneStream under{seed};
        const auto listener = std::make_shared<RecordingListener>();
        listener->onMessage = [&](const auto&) { under.stream.reset(); };
        under.add("news", listener);
        under.platform.takeLogLines();
        under.client->deliver("news#", numbered(1));
        under.client->deliver("scores#", numbered(2));
        under.client->deliver("news#", numbered(3));
        under.platform.runUntilIdle();
        EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost) << replayHint(seed);
        EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}, {numbered(3), false}})) << replayHint(seed);
        EXPECT_EQ(under.client->removals(), (Hashes{"scores#"})) << replayHint(seed);
        EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"news#", {2}}})) << replayHint(seed);
    }
}

Coroutine consume(Stream& stream, Deliveries& received, bool& ended)
{
    while (const auto element = co_await stream.next()) {
        received.push_back({*element->message, element->isTerminating});
    }
    ended = true;
}

TEST(StreamEnd, WhileTheNextElementIsAwaited)
{
    for (const std::uint64_t seed : testing::seeds(50)) {
        OneStream under{seed};
        Deliveries received;
        bool ended = false;
        const Coroutine consumer = consume(*under.stream, received, ended);
        under.deliver("scores#", numbered(1));
        under.stream->cancel();
        EXPECT_FALSE(ended) << replayHint(seed);
        under.platform.runUntilIdle();
        EXPECT_TRUE(ended) << replayHint(seed);
        EXPECT_EQ(received, (Deliveries{{numbered(1), false}})) << replayHint(seed);
        EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost) << replayHint(seed);
        expectUnregisteredOnce(under, seed);
    }
}

TEST(StreamEnd, ByDestroyingTheCoroutineThatAwaitsTheNextElement)
{
    for (const std::uint64_t seed : testing::seeds(50)) {
        OneStream under{seed};
        Deliveries received;
        bool ended = false;
        Coroutine consumer = consume(*under.stream, received, ended);
        under.client->deliver("scores#", numbered(1));
        for (std::uint64_t step = 0; step < seed % 4; ++step) {
            under.platform.runOne();
        }
        consumer.destroy();
        under.platform.runUntilIdle();
        EXPECT_FALSE(ended) << replayHint(seed);
        EXPECT_TRUE(under.stream->isExhausted()) << replayHint(seed);
        EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost) << replayHint(seed);
        expectUnregisteredOnce(under, seed);
    }
}

TEST(StreamEnd, WhileATerminatingMessageIsOnItsWayToTheStream)
{
    for (const std::uint64_t seed : testing::seeds(100)) {
        OneStream under{seed};
        under.client->deliver("scores#", numbered(1), true);
        for (std::uint64_t step = 0; step < seed % 4; ++step) {
            under.platform.runOne();
        }
        under.stream.reset();
        under.platform.runUntilIdle();

        Lines lines = under.platform.takeLogLines();
        if (lines != endedByTheService) {
            EXPECT_EQ(lines,
                      (Lines{"VEXA: VexaSubscriptionStream unregistered listener - 1", "VEXA: removing listener 1",
                             "VEXA: removing subscription", "VEXA: No subscription registered for 1"}))
                << replayHint(seed);
        }
        expectUnregisteredOnce(under, seed);
    }
}

/// Whether the registry hears of the terminating message or of the removal first depends on the seed.
TEST(StreamEnd, WhileATerminatingMessageIsOnItsWayThroughTheWholeLibrary)
{
    std::set<Lines> histories;
    for (const std::uint64_t seed : testing::seeds(100)) {
        WholeLibrary library{seed};
        std::optional<Stream> stream = library.createStream("scores");
        library.service.expectSubscribe("scores").reply(testing::success("s-1"));
        const std::string hash = library.manager->subscriptionHash("scores", std::nullopt);
        library.platform.takeLogLines();
        library.transport->deliver(testing::dataMessage({testing::terminatingEntry("s-1")}));
        for (std::uint64_t step = 0; step < seed % 7; ++step) {
            library.platform.runOne();
        }
        stream.reset();
        library.platform.runUntilIdle();

        Lines lines = library.platform.takeLogLines();
        std::sort(lines.begin(), lines.end());
        const Lines terminatedFirst{"VEXA: No subscription registered for 1",
                                    "VEXA: Removed " + hash,
                                    "VEXA: Removed " + hash,
                                    "VEXA: VexaSubscriptionStream unregistered listener - 1",
                                    "VEXA: removing listener 1",
                                    "VEXA: removing subscription"};
        const Lines removedFirst{"VEXA: Removed " + hash,
                                 "VEXA: Removed " + hash,
                                 "VEXA: VexaSubscriptionStream unregistered listener - 1",
                                 "VEXA: no listeners registered for " + hash,
                                 "VEXA: removing listener 1",
                                 "VEXA: removing subscription"};
        const Lines removedBeforeItWasRouted{"VEXA: Removed " + hash,
                                             "VEXA: Subscription for s-1 was previously removed, not notifying",
                                             "VEXA: VexaSubscriptionStream unregistered listener - 1",
                                             "VEXA: removing listener 1", "VEXA: removing subscription"};
        EXPECT_TRUE(lines == terminatedFirst || lines == removedFirst || lines == removedBeforeItWasRouted)
            << ::testing::PrintToString(lines) << replayHint(seed);
        histories.insert(lines);
        EXPECT_TRUE(library.manager->state().listenersById.empty()) << replayHint(seed);
        EXPECT_EQ(library.client->state().removedSubscriptions, (TextSet{hash})) << replayHint(seed);
    }
    EXPECT_GE(histories.size(), std::min<std::size_t>(2, testing::seeds(100).size()));
}

TEST(StreamEnd, ReleasesTheStreamsListener)
{
    for (const bool byTheService : {false, true}) {
        OneStream under;
        const std::weak_ptr<VexaSubscriptionListener> listener = under.manager->state().listenersById.at(1).listener;
        EXPECT_FALSE(listener.expired());
        if (byTheService) {
            under.deliver("scores#", numbered(1), true);
        } else {
            under.stream->cancel();
            under.platform.runUntilIdle();
        }
        EXPECT_TRUE(listener.expired()) << byTheService;
    }
}

TEST(StreamEnd, ReleasesTheManagerThoughTheListenerLivesOn)
{
    OneStream under;
    const auto listener = under.manager->state().listenersById.at(1).listener;
    const std::weak_ptr<VexaOruSubscriptionManager> observed = under.manager;

    under.stream.reset();
    under.client->setMessageFeedDelegate(nullptr);
    under.manager.reset();
    under.platform.runUntilIdle();

    EXPECT_TRUE(observed.expired());
}

TEST(StreamEnd, ReleasesWhatItHoldsWhenItCannotBeMade)
{
    ManagerOverRecordingClient under;
    under.client->onCreate = [](const auto&) { throw std::runtime_error("no such topic"); };
    const auto managersUsers = under.manager.use_count();

    EXPECT_THROW(static_cast<void>(under.createStream("scores")), std::runtime_error);

    EXPECT_EQ(under.manager.use_count(), managersUsers);
    EXPECT_TRUE(under.manager->state().listenersById.empty());
    EXPECT_EQ(under.manager->state().nextListenerId, 1);
}

TEST(StreamEnd, ReleasesTheMessagesThatNobodyTook)
{
    OneStream under;
    const std::weak_ptr<const Dictionary> message = under.deliver("scores#", numbered(1));
    EXPECT_FALSE(message.expired());
    under.stream.reset();
    EXPECT_TRUE(message.expired());
}

TEST(StreamEnd, LeavesTheListenerToTheManagerWhenTheStreamsOwnReferencesGo)
{
    OneStream under;
    const std::shared_ptr<VexaSubscriptionListener> listener = under.manager->state().listenersById.at(1).listener;
    under.stream.reset();
    under.platform.runUntilIdle();
    EXPECT_EQ(listener.use_count(), 1);
    listener->messageReceived(std::make_shared<const Dictionary>(numbered(1)), true);
    under.platform.runUntilIdle();
    EXPECT_EQ(under.platform.takeLogLines(), removedByTheHost);
}

} // namespace
} // namespace vexa
