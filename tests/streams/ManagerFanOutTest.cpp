#include "Fixtures.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

namespace vexa {
namespace {

using testing::RecordingListener;

/// A listener that notes its own name with the number of each message.
std::shared_ptr<RecordingListener> journalist(std::string name, Lines& journal)
{
    auto listener = std::make_shared<RecordingListener>();
    listener->onMessage = [name = std::move(name), &journal](const RecordingListener::Received& each) {
        journal.push_back(name + " " + boost::json::serialize(each.message->at("number")));
    };
    return listener;
}

TEST(ManagerFanOut, ReachesEveryListenerOfTheSubscriptionAndNobodyElse)
{
    ManagerOverRecordingClient under;
    const auto first = std::make_shared<RecordingListener>();
    const auto second = std::make_shared<RecordingListener>();
    const auto other = std::make_shared<RecordingListener>();
    under.add("scores", first);
    under.add("scores", second);
    under.add("news", other);
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(taken(*first), (Deliveries{{numbered(1), false}}));
    EXPECT_EQ(taken(*second), (Deliveries{{numbered(1), false}}));
    EXPECT_EQ(taken(*other), (Deliveries{}));
}

TEST(ManagerFanOut, HandsTheMessageItselfToEveryListener)
{
    ManagerOverRecordingClient under;
    const auto first = std::make_shared<RecordingListener>();
    const auto second = std::make_shared<RecordingListener>();
    under.add("scores", first);
    under.add("scores", second);
    const Message message = under.deliver("scores#", dictionary(R"({"payload": {"isTerminating": true}, "x": null})"));
    EXPECT_EQ(first->received().at(0).message, message);
    EXPECT_EQ(second->received().at(0).message, message);
    EXPECT_EQ(*message, dictionary(R"({"payload": {"isTerminating": true}, "x": null})"));
    EXPECT_FALSE(first->received().at(0).isTerminating);
}

TEST(ManagerFanOut, KeepsTheOrderOfMessagesAndWithinAMessageThatOfRegistration)
{
    for (const std::uint64_t seed : testing::seeds(50)) {
        ManagerOverRecordingClient under{seed};
        Lines journal;
        under.add("scores", journalist("first", journal));
        under.add("news", journalist("second", journal));
        under.add("scores", journalist("third", journal));
        under.client->deliver("scores#", numbered(1));
        under.client->deliver("news#", numbered(2));
        under.platform.runOne();
        under.client->deliver("scores#", numbered(3));
        under.platform.runUntilIdle();
        EXPECT_EQ(journal, (Lines{"first 1", "third 1", "second 2", "first 3", "third 3"}))
            << testing::replayHint(seed);
    }
}

TEST(ManagerFanOut, CallsNobodyInsideTheFeed)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);
    under.client->deliver("scores#", numbered(1));
    EXPECT_EQ(taken(*listener), (Deliveries{}));
    under.platform.runUntilIdle();
    EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}}));
}

TEST(ManagerFanOut, CallsListenersOneAtATime)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        int inside = 0;
        std::vector<int> insideAtEachCall;
        const auto busy = std::make_shared<RecordingListener>();
        busy->onMessage = [&](const auto&) {
            insideAtEachCall.push_back(++inside);
            under.platform.runUntilIdle();
            --inside;
        };
        under.add("scores", busy);
        under.add("news", busy);
        under.client->deliver("scores#", numbered(1));
        under.client->deliver("news#", numbered(2));
        under.client->deliver("scores#", numbered(3));
        under.platform.runUntilIdle();
        EXPECT_EQ(insideAtEachCall, (std::vector<int>{1, 1, 1})) << testing::replayHint(seed);
    }
}

TEST(ManagerFanOut, CallsListenersAsCodeOfTheHost)
{
    ManagerOverRecordingClient under;
    std::vector<bool> marked;
    const auto listener = std::make_shared<RecordingListener>();
    listener->onMessage = [&](const auto&) { marked.push_back(under.platform.isInHostCode()); };
    under.add("scores", listener);
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(marked, std::vector<bool>{true});
    EXPECT_FALSE(under.platform.isInHostCode());
}

TEST(ManagerFanOut, DropsAMessageForASubscriptionWithoutListeners)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);
    under.deliver("news#", numbered(1));
    under.deliver("news#", numbered(2), true);
    EXPECT_EQ(taken(*listener), (Deliveries{}));
    EXPECT_EQ(under.client->removals(), (Hashes{}));
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores#", {1}}}));
}

TEST(ManagerFanOut, StillReachesAListenerThatIsRemovedAfterTheFanOut)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        auto listener = std::make_shared<RecordingListener>();
        Deliveries received;
        listener->onMessage = [&](const RecordingListener::Received& each) {
            received.push_back({*each.message, each.isTerminating});
        };
        under.add("scores", std::exchange(listener, nullptr));
        under.client->deliver("scores#", numbered(1));
        under.manager->removeMessageListener(1);
        under.client->deliver("scores#", numbered(2));
        under.platform.runUntilIdle();
        EXPECT_EQ(received, (Deliveries{{numbered(1), false}})) << testing::replayHint(seed);
    }
}

TEST(ManagerFanOut, MissesAListenerThatIsAddedAfterTheFanOut)
{
    ManagerOverRecordingClient under;
    const auto early = std::make_shared<RecordingListener>();
    const auto late = std::make_shared<RecordingListener>();
    under.add("scores", early);
    under.client->deliver("scores#", numbered(1));
    under.add("scores", late);
    under.deliver("scores#", numbered(2));
    EXPECT_EQ(taken(*early), (Deliveries{{numbered(1), false}, {numbered(2), false}}));
    EXPECT_EQ(taken(*late), (Deliveries{{numbered(2), false}}));
}

TEST(ManagerFanOut, HandsATerminatingMessageToEveryListenerAndRemovesThemAll)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        Lines journal;
        const auto first = journalist("first", journal);
        const auto second = journalist("second", journal);
        const auto third = journalist("third", journal);
        under.add("scores", first);
        under.add("scores", second);
        under.add("scores", third);
        under.deliver("scores#", numbered(1), true);

        EXPECT_EQ(journal, (Lines{"first 1", "second 1", "third 1"})) << testing::replayHint(seed);
        for (const auto& listener : {first, second, third}) {
            EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), true}})) << testing::replayHint(seed);
        }
        EXPECT_EQ(under.client->removals(), (Hashes{"scores#"})) << testing::replayHint(seed);
        const auto state = under.manager->state();
        EXPECT_TRUE(state.listenersBySub.empty()) << testing::replayHint(seed);
        EXPECT_TRUE(state.listenersById.empty()) << testing::replayHint(seed);
    }
}

TEST(ManagerFanOut, LeavesOtherSubscriptionsAloneWhenOneIsTerminated)
{
    ManagerOverRecordingClient under;
    const auto other = std::make_shared<RecordingListener>();
    under.add("scores");
    under.add("news", other);
    under.deliver("scores#", numbered(1), true);
    under.deliver("news#", numbered(2));
    EXPECT_EQ(taken(*other), (Deliveries{{numbered(2), false}}));
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"news#", {2}}}));
}

TEST(ManagerFanOut, HasRemovedEveryListenerBeforeTheFirstHearsOfTheEnd)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        ManagerOverRecordingClient under{seed};
        std::vector<Ids> listed;
        std::vector<Hashes> removed;
        const auto listener = std::make_shared<RecordingListener>();
        listener->onMessage = [&](const auto&) {
            listed.push_back(under.manager->anyListenersFor("scores", std::nullopt));
            removed.push_back(under.client->removals());
        };
        under.add("scores", listener);
        under.add("scores", listener);
        under.deliver("scores#", numbered(1), true);
        EXPECT_EQ(listed, (std::vector<Ids>{{}, {}})) << testing::replayHint(seed);
        EXPECT_EQ(removed, (std::vector<Hashes>{{"scores#"}, {"scores#"}})) << testing::replayHint(seed);
    }
}

TEST(ManagerFanOut, ShowsTerminatedListenersGoneToWhoeverAsksBehindTheMessage)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.client->deliver("scores#", numbered(1), true);
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{}));
}

TEST(ManagerFanOut, DeliversNothingBehindATerminatingMessage)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);
    under.client->deliver("scores#", numbered(1));
    under.client->deliver("scores#", numbered(2), true);
    under.client->deliver("scores#", numbered(3));
    under.platform.runUntilIdle();
    EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}, {numbered(2), true}}));
}

TEST(ManagerFanOut, ServesANewListenerOfATerminatedSubscription)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.deliver("scores#", numbered(1), true);
    const auto listener = std::make_shared<RecordingListener>();
    EXPECT_EQ(under.add("scores", listener), 2);
    under.deliver("scores#", numbered(2));
    EXPECT_EQ(taken(*listener), (Deliveries{{numbered(2), false}}));
}

TEST(ManagerFanOut, KeepsAMessageNoLongerThanItsListenersNeedIt)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);
    const std::weak_ptr<const Dictionary> observed = under.deliver("scores#", numbered(1));
    EXPECT_FALSE(observed.expired());
    listener->take();
    EXPECT_TRUE(observed.expired());
}

} // namespace
} // namespace vexa
