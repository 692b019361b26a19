#include "ClientUnderTest.hpp"
#include <testing/RecordingClient.hpp>
#include <testing/RecordingFeed.hpp>
#include <testing/RecordingListener.hpp>
#include <VexaClient/protocols/VexaClient.hpp>
#include <VexaClient/protocols/VexaFeed.hpp>
#include <VexaClient/protocols/VexaSubscriptionListener.hpp>
#include <VexaClient/protocols/VexaSubscriptionManager.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <type_traits>

namespace vexa::testing {

namespace {

using Ids = std::vector<std::int64_t>;

/// A manager over a client that keeps what it is asked for, both seen through their protocols.
struct ManagerOverARecordingClient {
    ManagerOverARecordingClient() = default;
    ~ManagerOverARecordingClient() { client->setMessageFeedDelegate(nullptr); }
    ManagerOverARecordingClient(const ManagerOverARecordingClient&) = delete;
    ManagerOverARecordingClient& operator=(const ManagerOverARecordingClient&) = delete;

    VirtualPlatform platform;
    std::shared_ptr<RecordingClient> client = std::make_shared<RecordingClient>();
    std::shared_ptr<VexaSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, client);
};

TEST(Protocols, AreAbstractAndStandAlone)
{
    EXPECT_TRUE(std::is_abstract_v<VexaClient>);
    EXPECT_TRUE(std::is_abstract_v<VexaFeed>);
    EXPECT_TRUE(std::is_abstract_v<VexaSubscriptionListener>);
    EXPECT_TRUE(std::is_abstract_v<VexaSubscriptionManager>);
    // One pointer to a table of operations: no data, and no base that brings more.
    EXPECT_EQ(sizeof(VexaClient), sizeof(void*));
    EXPECT_EQ(sizeof(VexaFeed), sizeof(void*));
    EXPECT_EQ(sizeof(VexaSubscriptionListener), sizeof(void*));
    EXPECT_EQ(sizeof(VexaSubscriptionManager), sizeof(void*));
}

TEST(Protocols, AreAdoptedByTheClassesOfTheLibrary)
{
    EXPECT_TRUE((std::is_base_of_v<VexaClient, VexaOruClient>));
    EXPECT_TRUE((std::is_base_of_v<OruClientMessageListener, VexaOruClient>));
    EXPECT_TRUE((std::is_base_of_v<OruClientConnectionListener, VexaOruClient>));
    EXPECT_TRUE((std::is_base_of_v<VexaSubscriptionManager, VexaOruSubscriptionManager>));
    EXPECT_TRUE((std::is_base_of_v<VexaFeed, VexaOruSubscriptionManager>));
    EXPECT_TRUE((std::is_base_of_v<VexaSubscriptionListener, VexaSubscriptionStream>));
    EXPECT_FALSE((std::is_base_of_v<VexaFeed, VexaOruClient>));
    EXPECT_FALSE((std::is_base_of_v<VexaClient, VexaOruSubscriptionManager>));
}

TEST(ClientProtocol, OffersItsFourOperationsOfTheOruClient)
{
    ClientUnderTest under;
    const std::shared_ptr<VexaClient> client = under.client;
    const auto feed = std::make_shared<RecordingFeed>();

    const std::string hash = client->subscriptionHash("scores", json(R"({"league": 4})"));
    client->setMessageFeedDelegate(feed);
    EXPECT_EQ(client->createSubscription("scores", json(R"({"league": 4})"), 1700000000.25), hash);
    client->removeSubscription(hash);
    under.platform.runUntilIdle();

    EXPECT_EQ(under.takeSent(),
              listOf({subscribeRequest("O-001", {topic("scores", json(R"({"league": 4})"), 1700000000.25)})}));
    EXPECT_EQ(under.client->state().delegate, feed);
    EXPECT_EQ(under.client->state().removedSubscriptions, TextSet{hash});
}

TEST(ClientProtocol, GivesFromCreateSubscriptionTheHashThatSubscriptionHashGives)
{
    ClientUnderTest under;

    for (const Parameters& params :
         {Parameters{}, Parameters(json("null")), Parameters(json(R"(["a", {"b": 1.5}])"))}) {
        EXPECT_EQ(under.client->createSubscription("scores", params, 0.0),
                  under.client->subscriptionHash("scores", params));
    }
}

TEST(FeedProtocol, TakesHashMessageAndWhetherItIsTheLast)
{
    ClientUnderTest under;
    const auto feed = std::make_shared<RecordingFeed>();
    under.client->setMessageFeedDelegate(feed);
    const std::string hash = under.confirm("scores", "s-1");

    under.service.data({entry("s-1", {{"score", 1}})});
    under.service.terminate("s-1");

    const auto received = feed->take();
    ASSERT_EQ(received.size(), 2U);
    EXPECT_EQ(received[0].hash, hash);
    EXPECT_EQ(Value(*received[0].message), json(R"({"subscriptionId": "s-1", "payload": {"score": 1}})"));
    EXPECT_FALSE(received[0].isTerminating);
    EXPECT_EQ(received[1].hash, hash);
    EXPECT_EQ(Value(*received[1].message), json(R"({"subscriptionId": "s-1", "payload": {"isTerminating": true}})"));
    EXPECT_TRUE(received[1].isTerminating);
}

TEST(ListenerProtocol, IsAllThatTheManagerNeedsOfAListener)
{
    ManagerOverARecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.manager->addMessageListener("scores", std::nullopt, 0.0, listener);

    const Message message = under.client->deliver("scores#", entry("s-1", {{"score", 1}}), true);
    under.platform.runUntilIdle();

    const auto received = listener->take();
    ASSERT_EQ(received.size(), 1U);
    EXPECT_EQ(received[0].message, message);
    EXPECT_TRUE(received[0].isTerminating);
}

TEST(ManagerProtocol, AsksItsClientForTheSubscriptionHash)
{
    ManagerOverARecordingClient under;

    EXPECT_EQ(under.manager->subscriptionHash("scores", json(R"({"league":4})")), R"(scores#{"league":4})");
    EXPECT_EQ(under.manager->subscriptionHash("scores", std::nullopt), "scores#");
}

TEST(ManagerProtocol, ListsTheListenersOfAPairInOrderOfRegistration)
{
    ManagerOverARecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();

    EXPECT_EQ(under.manager->addMessageListener("scores", std::nullopt, 0.0, listener), 1);
    EXPECT_EQ(under.manager->addMessageListener("news", std::nullopt, 0.0, listener), 2);
    EXPECT_EQ(under.manager->addMessageListener("scores", std::nullopt, 0.0, listener), 3);
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{1, 3}));

    under.manager->removeMessageListener(1);
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{3}));
}

TEST(ManagerProtocol, ListsNoListenersForAPairThatNobodyListensTo)
{
    ManagerOverARecordingClient under;
    under.manager->addMessageListener("scores", json(R"({"league": 4})"), 0.0, std::make_shared<RecordingListener>());

    EXPECT_EQ(under.manager->anyListenersFor("scores", json(R"({"league": 5})")), Ids{});
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), Ids{});
}

TEST(ManagerProtocol, PassesAbsentParametersOnAsAbsent)
{
    ManagerOverARecordingClient under;

    under.manager->addMessageListener("scores", std::nullopt, 0.0, std::make_shared<RecordingListener>());

    const auto creations = under.client->creations();
    ASSERT_EQ(creations.size(), 1U);
    EXPECT_EQ(creations[0].name, "scores");
    EXPECT_EQ(creations[0].params, std::nullopt);
    EXPECT_EQ(under.manager->anyListenersFor("scores", std::nullopt), (Ids{1}));
}

TEST(ManagerProtocol, PassesADictionaryOnAsItCame)
{
    ManagerOverARecordingClient under;
    const Value params = json(R"({"league": 4, "teams": ["north", null], "live": true})");

    under.manager->addMessageListener("scores", params, 1700000000.25, std::make_shared<RecordingListener>());

    const auto creations = under.client->creations();
    ASSERT_EQ(creations.size(), 1U);
    EXPECT_EQ(creations[0].params, Parameters(params));
    EXPECT_EQ(creations[0].updatedAt, 1700000000.25);
}

} // namespace

} // namespace vexa::testing
