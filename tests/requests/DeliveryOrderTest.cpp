#include "ClientUnderTest.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/subscription_client/OperationId.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vexa::testing {

namespace {

TEST(Notifications, OnlyQueueTheirWork)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const std::vector<Operation> calls = under.transport->calls();
    under.platform.takeLogLines();

    under.transport->notifyOpened();
    under.transport->deliver(subscriptionResponse("O-001", {success("s-1")}));

    EXPECT_EQ(under.transport->calls(), calls);
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
    EXPECT_FALSE(under.platform.isIdle());
}

TEST(Notifications, TakeEffectInTheOrderOfArrivalAnswerFirst)
{
    for (const std::uint64_t seed : seeds(20)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        const std::string hash = under.subscribe("scores");
        under.forgetThePast();

        under.transport->deliver(subscriptionResponse("O-001", {success("s-1")}));
        under.transport->notifyOpened();
        under.platform.runUntilIdle();

        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: subscriptions all accounted for, reseting retry count",
                         "VEXA: Processing responses for O-001",
                         "VEXA: Subscription response: TopicHash: " + hash + ", SubId: s-1",
                         "VEXA: All subscriptions reverted to pending",
                         sendingLine(subscribeRequest("O-002", {topic("scores")}))}));
    }
}

TEST(Notifications, TakeEffectInTheOrderOfArrivalOpeningFirst)
{
    for (const std::uint64_t seed : seeds(20)) {
        SCOPED_TRACE(replayHint(seed));
        ClientUnderTest under{seed};
        under.subscribe("scores");
        under.forgetThePast();

        under.transport->notifyOpened();
        under.transport->deliver(subscriptionResponse("O-001", {success("s-1")}));
        under.platform.runUntilIdle();

        EXPECT_EQ(under.platform.takeLogLines(),
                  (Lines{"VEXA: All subscriptions reverted to pending",
                         sendingLine(subscribeRequest("O-002", {topic("scores")})),
                         "VEXA: no pending topics for O-001, most likely connectionOpened function was called."}));
    }
}

TEST(Notifications, ThatArriveInsideAnOperationOfTheTransportWaitForTheirTurn)
{
    ClientUnderTest under;
    bool isFirst = true;
    under.hooks->onCall = [&under, &isFirst](Operation operation) {
        if (operation == Operation::send && std::exchange(isFirst, false)) {
            under.transport->deliver(subscriptionResponse("O-001", {success("s-1")}));
        }
    };
    const std::string hash = under.subscribe("scores");

    Dictionary current;
    current[hash] = topic("scores");
    EXPECT_EQ(under.tables().at("currentSubscriptions"), Value(current));
    EXPECT_EQ(under.tables().at("hasTimer"), Value(true));
}

TEST(Notifications, AreSafeFromManyThreadsAtOnce)
{
    constexpr int threads = 4;
    constexpr int openings = 200;
    SystemPlatform platform{2};
    platform.setLogSink([](std::string_view) {});
    Dependencies container;
    const auto transport = std::make_shared<FakeTransport>(platform);
    container.oruClient(transport);
    const auto client = VexaOruClient::make(platform, container);
    client->createSubscription("scores", std::nullopt, 0.0);

    std::vector<std::thread> deliverers;
    deliverers.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        deliverers.emplace_back([&transport] {
            for (int k = 0; k < openings; ++k) {
                transport->notifyOpened();
                transport->deliver(dataMessage({}));
            }
        });
    }
    for (std::thread& each : deliverers) {
        each.join();
    }

    EXPECT_EQ(client->state().nextOperationId, 1 + threads * openings);
    std::vector<Dictionary> expected;
    for (int i = 1; i <= 1 + threads * openings; ++i) {
        expected.push_back(subscribeRequest(operationId(i), {topic("scores")}));
    }
    EXPECT_EQ(listOf(transport->sent()), listOf(expected));
}

TEST(Creations, FromManyThreadsEachGetAnOperationOfTheirOwn)
{
    constexpr int threads = 4;
    constexpr int topics = 100;
    SystemPlatform platform{2};
    platform.setLogSink([](std::string_view) {});
    Dependencies container;
    const auto transport = std::make_shared<FakeTransport>(platform);
    container.oruClient(transport);
    const auto client = VexaOruClient::make(platform, container);

    std::vector<std::thread> creators;
    creators.reserve(threads);
    for (int i = 0; i < threads; ++i) {
        creators.emplace_back([&client, i] {
            for (int k = 0; k < topics; ++k) {
                client->createSubscription("scores", Value(i * topics + k), 0.0);
            }
        });
    }
    for (std::thread& each : creators) {
        each.join();
    }

    EXPECT_EQ(client->state().nextOperationId, threads * topics);
    EXPECT_EQ(transport->registrations().size(), 2U);
    std::vector<std::string> operations;
    std::vector<std::string> expected;
    std::set<std::string> requested;
    for (const Dictionary& request : transport->sent()) {
        expected.push_back(operationId(static_cast<std::int64_t>(expected.size()) + 1));
        operations.push_back(operationIdOf(request));
        requested.insert(boost::json::serialize(request.at("payload").at("topics")));
    }
    EXPECT_EQ(operations, expected);
    EXPECT_EQ(requested.size(), static_cast<std::size_t>(threads * topics));
}

TEST(IncomingMessages, AreIgnoredWithoutATypeThatTheClientKnows)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    const Value before = under.tables();
    const std::vector<Operation> calls = under.transport->calls();
    under.forgetThePast();

    for (const char* text :
         {"{}", R"({"type": null})", R"({"type": 1, "operationId": "O-001", "topics": []})",
          R"({"type": ["data"], "messages": []})", R"({"type": "Data", "messages": []})", R"({"type": "subscribe"})",
          R"({"type": "", "operationId": "O-001"})", R"({"payload": {"type": "data"}})"}) {
        under.transport->deliverJson(text);
        under.platform.runUntilIdle();
        EXPECT_EQ(under.tables(), before) << text;
        EXPECT_EQ(under.transport->calls(), calls) << text;
        EXPECT_EQ(under.platform.takeLogLines(), Lines{}) << text;
    }
}

TEST(IncomingMessages, AreIgnoredWhenThereIsNone)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.takeLogLines();

    under.transport->deliverMessage(nullptr);
    EXPECT_TRUE(under.platform.isIdle());
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
}

TEST(IncomingMessages, AreTakenWhateverTheirCategory)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.takeLogLines();

    under.transport->deliverJson(R"({"category": "weather", "type": "subscriptionResponse", "topics": []})");
    under.platform.runUntilIdle();
    EXPECT_EQ(under.platform.takeLogLines(), Lines{"VEXA: missing 'operationId' in subscription response"});
}

} // namespace

} // namespace vexa::testing
