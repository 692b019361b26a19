#include "Fixtures.hpp"
#include "ForwardingPlatform.hpp"

#include <gtest/gtest.h>

#include <functional>

namespace vexa {
namespace {

using testing::RecordingListener;

/// What a call of the manager does on one of the library's own queues.
class ManagerQueuesDeathTest : public ::testing::Test {
protected:
    ManagerQueuesDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static constexpr auto ownStateQueue =
        "VEXA: synchronous work for the queue \"vexasubiq\" was submitted from that queue itself, which can never end";
    static constexpr auto clientStateQueue =
        "VEXA: synchronous work for the queue \"vexaint\" was submitted from that queue itself, which can never end";
};

/// Runs `call` on the manager's state queue, where the client is asked for subscriptions.
void onTheStateQueue(const std::function<void(ManagerOverRecordingClient&)>& call)
{
    ManagerOverRecordingClient under;
    under.client->onCreate = [&](const auto&) { call(under); };
    under.add("scores");
}

TEST_F(ManagerQueuesDeathTest, ListingListenersOnTheStateQueueStopsTheProcess)
{
    EXPECT_DEATH(
        onTheStateQueue([](auto& under) { static_cast<void>(under.manager->anyListenersFor("scores", std::nullopt)); }),
        ownStateQueue);
}

TEST_F(ManagerQueuesDeathTest, AddingAListenerOnTheStateQueueStopsTheProcess)
{
    EXPECT_DEATH(onTheStateQueue([](auto& under) { under.add("news"); }), ownStateQueue);
}

TEST_F(ManagerQueuesDeathTest, CreatingAStreamOnTheStateQueueStopsTheProcess)
{
    EXPECT_DEATH(onTheStateQueue([](auto& under) { static_cast<void>(under.createStream("news")); }), ownStateQueue);
}

TEST_F(ManagerQueuesDeathTest, ReadingTheStateOnTheStateQueueStopsTheProcess)
{
    EXPECT_DEATH(onTheStateQueue([](auto& under) { static_cast<void>(under.manager->state()); }), ownStateQueue);
}

/// A logger that does something with each line. Resent requests bring it one on the client's state queue.
class CallingLogger final : public OruClientLogger {
public:
    explicit CallingLogger(std::function<void()> call) : call_{std::move(call)} {}

    void consoleLog(std::string_view) override { call_(); }
    void serverLog(std::string_view, Dictionary, std::int64_t) override {}

private:
    std::function<void()> call_;
};

/// Runs `call` on the client's state queue.
void onTheClientsQueue(const std::function<void(WholeLibrary&)>& call)
{
    WholeLibrary library;
    library.transport->setLogger(std::make_shared<CallingLogger>([&] { call(library); }));
    const Stream stream = library.createStream("scores");
    library.platform.clock.advance(20);
}

TEST_F(ManagerQueuesDeathTest, AddingAListenerOnTheClientsQueueStopsTheProcess)
{
    EXPECT_DEATH(onTheClientsQueue([](auto& library) {
                     library.manager->addMessageListener("news", std::nullopt, 0.0,
                                                         std::make_shared<RecordingListener>());
                 }),
                 clientStateQueue);
}

TEST_F(ManagerQueuesDeathTest, CreatingAStreamOnTheClientsQueueStopsTheProcess)
{
    EXPECT_DEATH(onTheClientsQueue([](auto& library) { static_cast<void>(library.createStream("news")); }),
                 clientStateQueue);
}

TEST(ManagerQueues, HashesOnTheStateQueueToo)
{
    Hashes hashes;
    onTheStateQueue([&](auto& under) { hashes.push_back(under.manager->subscriptionHash("news", std::nullopt)); });
    EXPECT_EQ(hashes, (Hashes{"news#"}));
}

TEST(ManagerQueues, TakesRemovalsAndMessagesOnTheStateQueueToo)
{
    ManagerOverRecordingClient under;
    const auto listener = std::make_shared<RecordingListener>();
    under.add("scores", listener);
    under.client->onCreate = [&](const auto&) {
        under.client->deliver("scores#", numbered(1));
        under.manager->removeMessageListener(1);
    };
    under.add("news");
    EXPECT_EQ(under.manager->state().listenersBySub, (TextTable<Ids>{{"news#", {2}}}));
    under.platform.runUntilIdle();
    EXPECT_EQ(taken(*listener), (Deliveries{{numbered(1), false}}));
}

TEST(ManagerQueues, QueuesRemovalsAndReturns)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.platform.takeLogLines();
    under.manager->removeMessageListener(1);
    EXPECT_EQ(under.platform.takeLogLines(), (Lines{}));
    EXPECT_EQ(under.client->removals(), (Hashes{}));
    under.platform.runUntilIdle();
    EXPECT_EQ(under.client->removals(), (Hashes{"scores#"}));
}

TEST(ManagerQueues, AddsListenersBehindWhatWasQueuedBefore)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.manager->removeMessageListener(1);
    under.platform.takeLogLines();
    under.add("scores");
    EXPECT_EQ(under.platform.takeLogLines(),
              (Lines{"VEXA: removing listener 1", "VEXA: removing subscription",
                     "VEXA: Creating subscription scores - nil", "VEXA: setting listener"}));
}

TEST(ManagerQueues, AreMadeWithTheirLabelsBeforeTheClients)
{
    ForwardingPlatform platform;
    Dependencies container;
    const auto transport = std::make_shared<testing::FakeTransport>(platform);
    container.oruClient(transport);
    const auto manager = VexaOruSubscriptionManager::make(platform, container);
    EXPECT_EQ(platform.labels, (Lines{"vexasubiq", "vexacbq", "vexaint", "vexacb"}));

    manager->addMessageListener("scores", std::nullopt, 0.0, std::make_shared<RecordingListener>());
    const auto client = std::dynamic_pointer_cast<VexaOruClient>(transport->registrations().at(0).messageListener);
    ASSERT_NE(client, nullptr);
    client->setMessageFeedDelegate(nullptr);
    platform.virtually.runUntilIdle();
}

TEST(ManagerQueues, TakesOneItemOfEachForAMessageToManyListeners)
{
    ManagerOverRecordingClient under;
    under.add("scores");
    under.add("scores");
    under.client->deliver("scores#", numbered(1));
    EXPECT_TRUE(under.platform.runOne());
    EXPECT_TRUE(under.platform.runOne());
    EXPECT_FALSE(under.platform.runOne());
}

} // namespace
} // namespace vexa
