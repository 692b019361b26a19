#include "Fixtures.hpp"

#include <gtest/gtest.h>

#include <tuple>

namespace vexa {
namespace {

using testing::RecordingClient;
using testing::RecordingListener;

using Creations = std::vector<std::tuple<std::string, Parameters, double>>;

Creations creationsOf(const RecordingClient& client)
{
    Creations all;
    for (const auto& each : client.creations()) {
        all.emplace_back(each.name, each.params, each.updatedAt);
    }
    return all;
}

TEST(ManagerListeners, StartsWithNoListeners)
{
    const ManagerOverRecordingClient under;
    const auto state = under.manager->state();
    EXPECT_EQ(state.nextListenerId, 1);
    EXPECT_TRUE(state.listenersById.empty());
    EXPECT_TRUE(state.listenersBySub.empty());
}

TEST(ManagerListeners, IsTheFeedDelegateOfItsClientFromTheStart)
{
    const ManagerOverRecordingClient under;
    EXPECT_EQ(under.client->delegate(), under.manager);
}

TEST(ManagerListeners, IsTheFeedDelegateOfTheClientThatItMakesItself)
{
    testing::VirtualPlatform platform;
    const auto transport = std::make_shared<testing::FakeTransport>(platform);
    Dependencies container;
    container.oruClient(transport);
    const auto manager = VexaOruSubscriptionManager::make(platform, container);
    manager->addMessageListener("scores", std::nullopt, 0.0, std::make_shared<RecordingListener>());
    platform.runUntilIdle();

    const auto client = std::dynamic_pointer_cast<VexaOruClient>(transport->registrations().at(0).messageListener);
    ASSERT_NE(client, nullptr);
    EXPECT_EQ(client->state().delegate, manager);

    client->setMessageFeedDelegate(nullptr);
    platform.runUntilIdle();
}

TEST(ManagerListeners, HandsOutIdsFromOneOnAndNeverAgain)
{
    ManagerOverRecordingClient under;
    EXPECT_EQ(under.add("scores"), 1);
    EXPECT_EQ(under.add("scores"), 2);
    under.remove(1);
    EXPECT_EQ(under.add("scores"), 3);
    EXPECT_EQ(under.manager->state().nextListenerId, 4);
}

TEST(ManagerListeners, CountsIdsAcrossSubscriptions)
{
    ManagerOverRecordingClient under;
    EXPECT_EQ(under.add("scores"), 1);
    EXPECT_EQ(under.add("news"), 2);
    EXPECT_EQ(under.add("scores"), 3);
}

TEST(ManagerListeners, AsksTheClientForEveryListener)
{
    ManagerOverRecordingClient under;
    const Parameters params = boost::json::parse(R"({"league": 4})");
    const auto listener = std::make_shared<RecordingListener>();
    under.manager->addMessageListener("scores", params, 0.0, listener);
    under.manager->addMessageListener("scores", params, 1700000000.5, listener);
    under.manager->addMessageListener("news", std::nullopt, -1.0, listener);
    EXPECT_EQ(creationsOf(*under.client),
              (Creations{{"scores", params, 0.0}, {"scores", params, 1700000000.5}, {"news", std::nullopt, -1.0}}));
}

TEST(ManagerListeners, KeepsNullParametersApartFromAbsentOnes)
{
    ManagerOverRecordingClient under;
    const Parameters null = Value(nullptr);
    under.manager->addMessageListener("scores", null, 0.0, std::make_shared<RecordingListener>());
    EXPECT_EQ(creationsOf(*under.client), (Creations{{"scores", null, 0.0}}));
    EXPECT_EQ(under.manager->anyListenersFor("scores", null), (Ids{1}));
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{}));
}

TEST(ManagerListeners, KeepsARecordOfEachListener)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);

    const auto state = under.manager->state();
    ASSERT_EQ(state.listenersById.size(), 1U);
    const auto& record = state.listenersById.at(1);
    EXPECT_EQ(record.hash, "scores#");
    EXPECT_EQ(record.listenerId, 1);
    EXPECT_EQ(record.listener, listener);
}

TEST(ManagerListeners, SharesOneSubscriptionAmongTheListenersOfAPair)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.add("scores");

    const auto state = under.manager->state();
    EXPECT_EQ(state.listenersBySub, (TextTable<Ids>{{"scores#", {1, 2}}}));
    EXPECT_EQ(state.listenersById.at(1).hash, "scores#");
    EXPECT_EQ(state.listenersById.at(2).hash, "scores#");
}

TEST(ManagerListeners, RegistersOneObjectAsOftenAsItIsAdded)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);
    under.add("scores", listener);
    under.deliver("scores#", numbered(1));
    EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}, {numbered(1), false}}));
}

TEST(ManagerListeners, HashesTopicsAsItsClientDoes)
{
    const ManagerOverRecordingClient under;
    const Parameters params = boost::json::parse("[1, 2]");
    EXPECT_EQ(under.manager->subscriptionHash("scores", std::nullopt), "scores#");
    EXPECT_EQ(under.manager->subscriptionHash("scores", params), "scores#[1,2]");
}

TEST(ManagerListeners, ListsTheListenersOfAPairInTheOrderOfTheirRegistration)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.add("news");
    under.add("scores");
    under.add("scores");
    under.remove(3);
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{1, 4}));
    EXPECT_EQ(under.manager->anyListenersFor("news", std::nullopt), (Ids{2}));
}

TEST(ManagerListeners, ListsNobodyForAPairThatNobodyListensTo)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    EXPECT_EQ(under.manager->anyListenersFor("news", std::nullopt), (Ids{}));
    EXPECT_EQ(under.manager->anyListenersFor("scores", boost::json::parse("{}")), (Ids{}));
}

TEST(ManagerListeners, KeepsTheSubscriptionWhileAListenerIsLeft)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.add("scores");

    under.remove(1);
    EXPECT_EQ(under.client->removals(), (Hashes{}));
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores#", {2}}}));

    under.remove(2);
    EXPECT_EQ(under.client->removals(), (Hashes{"scores#"}));
    const auto state = under.manager->state();
    EXPECT_TRUE(state.listenersBySub.empty());
    EXPECT_TRUE(state.listenersById.empty());
}

TEST(ManagerListeners, StartsASubscriptionAgainAfterItsLastListenerHasGone)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.remove(1);
    under.add("scores");
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores#", {2}}}));
    under.remove(2);
    EXPECT_EQ(under.client->removals(), (Hashes{"scores#", "scores#"}));
    EXPECT_EQ(under.client->creations().size(), 2U);
}

TEST(ManagerListeners, IgnoresTheRemovalOfIdsThatNobodyHas)
{
    for (const std::int64_t id : {std::int64_t{0}, std::int64_t{2}, std::int64_t{-1}, INT64_MIN, INT64_MAX}) {
        ManagerOverRecordingClient under;
        under.add("scores");
        under.remove(id);
        EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"scores#", {1}}})) << id;
        EXPECT_EQ(under.manager->state().listenersById.size(), 1U) << id;
        EXPECT_EQ(under.client->removals(), (Hashes{})) << id;
    }
}

TEST(ManagerListeners, TellsTheClientOnceWhenAnIdIsRemovedTwice)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.remove(1);
    under.remove(1);
    EXPECT_EQ(under.client->removals(), (Hashes{"scores#"}));
}

TEST(ManagerListeners, RegistersNothingWithoutAListener)
{
    ManagerOverRecordingClient under;
    EXPECT_EQ(under.add("scores", nullptr), 0);
    const auto state = under.manager->state();
    EXPECT_TRUE(state.listenersById.empty());
    EXPECT_TRUE(state.listenersBySub.empty());
    EXPECT_EQ(state.nextListenerId, 1);
    EXPECT_EQ(creationsOf(*under.client), (Creations{}));
}

TEST(ManagerListeners, HoldsAListenerUntilItIsRemoved)
{
    ManagerOverRecordingClient under;
    auto listener = std::make_shared<RecordingListener>();
    const std::weak_ptr<RecordingListener> observed = listener;
    under.add("scores", std::move(listener));
    under.platform.runUntilIdle();
    EXPECT_FALSE(observed.expired());
    under.remove(1);
    EXPECT_TRUE(observed.expired());
}

TEST(ManagerListeners, GoesWithoutRemovingSubscriptionsOrTellingListeners)
{
    testing::VirtualPlatform platform;
    const auto client = std::make_shared<RecordingClient>();
    auto manager = VexaOruSubscriptionManager::make(platform, client);
    const auto listener = std::make_shared<RecordingListener>();
    manager->addMessageListener("scores", std::nullopt, 0.0, listener);
    const std::weak_ptr<VexaOruSubscriptionManager> observed = manager;

    client->setMessageFeedDelegate(nullptr);
    manager.reset();
    platform.runUntilIdle();

    EXPECT_TRUE(observed.expired());
    EXPECT_EQ(client.use_count(), 1);
    EXPECT_EQ(listener.use_count(), 1);
    EXPECT_EQ(client->removals(), (Hashes{}));
    EXPECT_EQ(taken(*listener), (Deliveries{}));
}

TEST(ManagerListeners, LivesOnThroughItsClientAlone)
{
    testing::VirtualPlatform platform;
    const auto client = std::make_shared<RecordingClient>();
    const auto listener = std::make_shared<RecordingListener>();
    VexaOruSubscriptionManager::make(platform, client)->addMessageListener("scores", std::nullopt, 0.0, listener);
    client->deliver("scores#", numbered(1));
    platform.runUntilIdle();
    EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}}));
    client->setMessageFeedDelegate(nullptr);
}

} // namespace
} // namespace vexa
