#include "ClientUnderTest.hpp"

#include <gtest/gtest.h>

#include <memory>

namespace vexa::testing {

namespace {

/// Drops the owner's reference and watches what becomes of the client.
std::weak_ptr<VexaOruClient> release(ClientUnderTest& under)
{
    std::weak_ptr<VexaOruClient> watched = under.client;
    under.client.reset();
    return watched;
}

TEST(ClientLife, EndsWithItsLastReferenceWhenNothingWasRequested)
{
    ClientUnderTest under;
    EXPECT_TRUE(release(under).expired());
}

TEST(ClientLife, LastsUntilItsQueuedWorkIsDone)
{
    ClientUnderTest under;
    under.transport->open = false;
    under.client->createSubscription("scores", std::nullopt, 0.0);
    const auto client = release(under);

    EXPECT_FALSE(client.expired());
    under.platform.runUntilIdle();
    EXPECT_TRUE(client.expired()) << "no request was handed over, so there is no timer";
}

TEST(ClientLife, LastsUntilAQueuedRemovalAndANewDelegateHaveTakenEffect)
{
    ClientUnderTest under;
    under.client->removeSubscription("h");
    under.client->setMessageFeedDelegate(nullptr);
    const auto client = release(under);

    EXPECT_FALSE(client.expired());
    under.platform.runUntilIdle();
    EXPECT_TRUE(client.expired());
    EXPECT_EQ(under.platform.takeLogLines(), Lines{"VEXA: Removed h"});
}

TEST(ClientLife, LastsAsLongAsTheTimerAndNoLonger)
{
    ClientUnderTest under;
    under.subscribe("scores");
    const auto client = release(under);

    under.platform.clock.advance(35.999);
    EXPECT_FALSE(client.expired());
    under.platform.clock.advance(0.001);
    EXPECT_TRUE(client.expired());
    EXPECT_EQ(under.transport->sent().size(), 6U) << "it went on sending meanwhile";
}

TEST(ClientLife, EndsAtTheFirstRoundWithNothingPending)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    const auto client = release(under);

    under.platform.clock.advance(5.0);
    EXPECT_FALSE(client.expired());
    under.platform.clock.advance(1.0);
    EXPECT_TRUE(client.expired());
}

TEST(ClientLife, IsNotProlongedByATransportThatHoldsItsListenersWeakly)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.clock.advance(100.0);

    EXPECT_EQ(under.client.use_count(), 1);
    EXPECT_TRUE(release(under).expired());
}

TEST(ClientLife, IsProlongedByATransportThatHoldsItsListenersStrongly)
{
    ClientUnderTest under{defaultSeed(), {}, FakeTransport::Hold::strongly};
    under.subscribe("scores");
    under.platform.clock.advance(100.0);

    EXPECT_EQ(under.client.use_count(), 3) << "the owner's reference and one for each listener";
    const auto client = release(under);
    EXPECT_FALSE(client.expired());
    under.transport->dropRegistration(1);
    under.transport->dropRegistration(2);
    EXPECT_TRUE(client.expired());
}

TEST(ClientLife, LeavesItsListenersRegisteredWhenItEnds)
{
    ClientUnderTest under;
    under.subscribe("scores");
    under.platform.clock.advance(100.0);
    EXPECT_TRUE(release(under).expired());

    const auto registrations = under.transport->registrations();
    ASSERT_EQ(registrations.size(), 2U);
    EXPECT_EQ(registrations[0].id, 1);
    EXPECT_EQ(registrations[0].messageListener, nullptr);
    EXPECT_EQ(registrations[1].id, 2);
    EXPECT_EQ(registrations[1].connectionListener, nullptr);
}

TEST(ClientLife, LastsUntilANotificationThatHasArrivedIsDealtWith)
{
    ClientUnderTest under;
    under.confirm("scores", "s-1");
    under.platform.clock.advance(10.0);
    under.transport->open = false;
    under.transport->notifyOpened();
    under.transport->deliver(dataMessage({entry("s-1")}));
    const auto client = release(under);

    EXPECT_FALSE(client.expired());
    under.platform.runUntilIdle();
    EXPECT_TRUE(client.expired());
}

TEST(ClientLife, IsNotProlongedByAReportThatWaitsToBeSent)
{
    ClientUnderTest under;
    // The longest delay there is, for the report of the confirmation.
    under.platform.nextRandomBits({~std::uint64_t{0}});
    under.confirm("scores", "s-1");
    under.platform.clock.advance(6.0);
    EXPECT_TRUE(release(under).expired());
    EXPECT_EQ(under.transport->fakeLogger().serverLogs().size(), 0U);

    under.platform.clock.advance(294.0);
    EXPECT_EQ(under.transport->fakeLogger().serverLogs().size(), 1U);
}

} // namespace

} // namespace vexa::testing
