#include "ClientUnderTest.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace vexa::testing {

namespace {

/// Puts a new transport into the container in place of the one that the client began with.
std::shared_ptr<FakeTransport> replaceTransport(ClientUnderTest& under)
{
    auto transport = std::make_shared<FakeTransport>(under.platform);
    under.container.oruClient(transport);
    return transport;
}

TEST(ReplacedTransport, IsReleasedAtOnce)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const std::weak_ptr<HookedTransport> first = under.hooks;
    under.hooks.reset();
    EXPECT_FALSE(first.expired()) << "the container holds it";

    replaceTransport(under);
    EXPECT_TRUE(first.expired());
}

TEST(ReplacedTransport, HandsOverLaterRequestsToTheNewOne)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->takeSent();
    const auto second = replaceTransport(under);

    under.subscribe("news");
    under.platform.clock.advance(6.0);

    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(listOf(second->takeSent()),
              listOf({subscribeRequest("O-002", {topic("news")}), subscribeRequest("O-001", {topic("scores")}),
                      subscribeRequest("O-002", {topic("news")})}));
    EXPECT_EQ(second->fakeLogger().takeConsoleLines(), (Lines{"VEXA: Retrying O-001", "VEXA: Retrying O-002"}));
    EXPECT_EQ(second->calls(),
              (std::vector<Operation>{Operation::isOpen, Operation::send, Operation::logger, Operation::isOpen,
                                      Operation::send, Operation::logger, Operation::isOpen, Operation::send}));
}

TEST(ReplacedTransport, NoLongerDecidesWhetherTheConnectionIsOpen)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.transport->takeSent();
    const auto second = replaceTransport(under);
    second->open = false;

    under.subscribe("news");
    EXPECT_EQ(under.takeSent(), listOf({}));
    EXPECT_EQ(listOf(second->takeSent()), listOf({}));
    EXPECT_EQ(under.platform.takeLogLines().back(), "VEXA: OruClient is not open, delaying O-002");
}

TEST(ReplacedTransport, NoLongerSaysWhetherTheApplicationIsVisibleNorTakesNewReports)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const auto second = replaceTransport(under);
    second->visible = false;

    under.service.deliver(subscriptionResponse("O-001", {success("s-1")}));
    under.platform.clock.advance(300.0);

    EXPECT_EQ(under.transport->fakeLogger().serverLogs().size(), 0U);
    const auto logs = second->fakeLogger().serverLogs();
    ASSERT_EQ(logs.size(), 1U);
    EXPECT_EQ(Value(logs[0].blob), json(R"({"vexaSubscriptionResponses": [{
        "operationId": "O-001", "status": "success", "topic": {"name": "scores"}, "visible": false,
        "subscriptionId": "s-1"}]})"));
}

TEST(ReplacedTransport, StillTakesTheReportsThatWereScheduledBefore)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    const auto second = replaceTransport(under);
    under.platform.clock.advance(300.0);

    EXPECT_EQ(under.transport->fakeLogger().serverLogs().size(), 1U);
    EXPECT_EQ(second->fakeLogger().serverLogs().size(), 0U);
}

TEST(ReplacedTransport, KeepsTheRegistrationsAndLeavesTheNewOneWithout)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const auto second = replaceTransport(under);
    under.subscribe("news");

    EXPECT_EQ(under.transport->registrations().size(), 2U);
    EXPECT_EQ(second->registrations().size(), 0U);
    EXPECT_EQ(second->count(Operation::addCategoryListener), 0U);
    EXPECT_EQ(second->count(Operation::addConnectionListener), 0U);
}

TEST(ReplacedTransport, LeavesTheClientDeafToTheNewOne)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const auto second = replaceTransport(under);
    const Value before = under.tables();
    under.platform.takeLogLines();

    second->notifyOpened();
    second->deliver(subscriptionResponse("O-001", {success("s-1")}));
    under.platform.runUntilIdle();

    EXPECT_EQ(under.tables(), before);
    EXPECT_EQ(under.platform.takeLogLines(), Lines{});
}

TEST(ReplacedTransport, StillBringsItsMessagesAndOpenings)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const auto second = replaceTransport(under);

    under.transport->notifyOpened();
    under.platform.runUntilIdle();
    EXPECT_EQ(listOf(second->takeSent()), listOf({subscribeRequest("O-002", {topic("scores")})}));
}

TEST(Transport, IsLookedUpAfreshForEachOfItsOperations)
{
    ClientUnderTest under;
    const auto second = std::make_shared<FakeTransport>(under.platform);
    under.hooks->onCall = [&under, &second](Operation operation) {
        if (operation == Operation::isOpen) {
            under.container.oruClient(second);
        }
    };
    under.subscribe("scores");

    EXPECT_EQ(under.transport->calls(), (std::vector<Operation>{Operation::addCategoryListener,
                                                                Operation::addConnectionListener, Operation::isOpen}));
    EXPECT_EQ(second->calls(), std::vector<Operation>{Operation::send});
}

TEST(Transport, IsLookedUpAfreshForEachRegistration)
{
    ClientUnderTest under;
    const auto second = std::make_shared<FakeTransport>(under.platform);
    second->setNextListenerId(50);
    under.hooks->onCall = [&under, &second](Operation operation) {
        if (operation == Operation::addCategoryListener) {
            under.container.oruClient(second);
        }
    };
    under.client->createSubscription("scores", std::nullopt, 0.0);

    EXPECT_EQ(under.client->state().messageListenerId, 1);
    EXPECT_EQ(under.client->state().connectionListenerId, 50);
}

} // namespace

} // namespace vexa::testing
