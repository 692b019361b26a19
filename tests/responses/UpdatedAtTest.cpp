#include "Conversation.hpp"

#include <cmath>
#include <limits>

namespace vexa::testing {
namespace {

/// The time that the client keeps for "scores", confirmed with `known`, after a message with `told`.
double keptAfter(double known, const Value& told)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", known);
    c.service.data({entry("s-1", {{"updatedAt", told}})});
    return c.client->state().currentSubscriptions.at(hash).updatedAt;
}

TEST(UpdatedAt, RisesToALaterTime)
{
    EXPECT_EQ(keptAfter(100.0, Value(101.0)), 101.0);
    EXPECT_EQ(keptAfter(100.0, Value(std::nextafter(100.0, 101.0))), std::nextafter(100.0, 101.0));
    EXPECT_EQ(keptAfter(0.0, Value(1700000000.25)), 1700000000.25);
}

TEST(UpdatedAt, StaysForAnEqualOrOlderTime)
{
    EXPECT_EQ(keptAfter(100.0, Value(100.0)), 100.0);
    EXPECT_EQ(keptAfter(100.0, Value(99.0)), 100.0);
    EXPECT_EQ(keptAfter(100.0, Value(0.0)), 100.0);
    EXPECT_EQ(keptAfter(100.0, Value(-101.0)), 100.0);
}

TEST(UpdatedAt, TakesAnIntegerForATime)
{
    EXPECT_EQ(keptAfter(100.0, Value(101)), 101.0);
    EXPECT_EQ(keptAfter(100.0, Value(101U)), 101.0);
    EXPECT_EQ(keptAfter(100.0, Value(std::numeric_limits<std::uint64_t>::max())), 18446744073709551615.0);
    EXPECT_EQ(keptAfter(100.0, Value(100)), 100.0);
    EXPECT_EQ(keptAfter(100.0, Value(-101)), 100.0);
}

TEST(UpdatedAt, TakesNeitherABooleanNorATextForATime)
{
    EXPECT_EQ(keptAfter(0.0, Value(true)), 0.0);
    EXPECT_EQ(keptAfter(0.5, Value(true)), 0.5);
    EXPECT_EQ(keptAfter(0.0, Value("101")), 0.0);
    EXPECT_EQ(keptAfter(0.0, Value(nullptr)), 0.0);
}

TEST(UpdatedAt, StaysForATimeThatDoesNotCompare)
{
    EXPECT_EQ(keptAfter(100.0, Value(std::numeric_limits<double>::quiet_NaN())), 100.0);
    EXPECT_TRUE(std::isnan(keptAfter(std::numeric_limits<double>::quiet_NaN(), Value(101.0))));
}

TEST(UpdatedAt, RisesBelowZeroToo)
{
    EXPECT_EQ(keptAfter(-5.0, Value(-3.0)), -3.0);
}

TEST(UpdatedAt, RisesThoughTheSubscriptionIsRemoved)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 100.0);
    c.client->removeSubscription(hash);

    c.service.data({entry("s-1", {{"updatedAt", 101.0}})});

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 101.0)}}));
    EXPECT_EQ(c.fed(), Values{});
}

TEST(UpdatedAt, RisesWithTheMessageThatEndsTheSubscription)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 100.0);

    c.service.data({terminatingEntry("s-1", {{"updatedAt", 101.0}})});

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 101.0)}}));
}

TEST(UpdatedAt, IsTheLatestOfABatchWhateverItsOrder)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1");

    c.service.data(
        {entry("s-1", {{"updatedAt", 7.0}}), entry("s-1", {{"updatedAt", 9.0}}), entry("s-1", {{"updatedAt", 8.0}})});

    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 9.0)}}));
}

TEST(UpdatedAt, BelongsToItsTopicAlone)
{
    Conversation c;
    const std::string scores = c.subscribe("scores", "s-1", 100.0);
    const std::string news = c.subscribe("news", "s-2", 100.0);

    c.service.data({entry("s-2", {{"updatedAt", 101.0}})});

    EXPECT_EQ(c.table("current"),
              tableOf({{scores, topic("scores", std::nullopt, 100.0)}, {news, topic("news", std::nullopt, 101.0)}}));
}

TEST(UpdatedAt, GoesIntoTheRequestOfTheNextConnection)
{
    Conversation c;
    c.subscribe("scores", "s-1", 100.0);
    c.service.data({entry("s-1", {{"updatedAt", 101.5}})});
    c.transport->takeSent();

    c.service.open();

    EXPECT_EQ(c.transport->takeSent(),
              (std::vector<Dictionary>{subscribeRequest("O-002", {topic("scores", std::nullopt, 101.5)})}));
}

TEST(UpdatedAt, IsWhatALaterCreationIsComparedWith)
{
    Conversation c;
    const std::string hash = c.subscribe("scores", "s-1", 100.0);
    c.service.data({entry("s-1", {{"updatedAt", 200.0}})});
    c.startAfresh();

    c.client->createSubscription("scores", std::nullopt, 150.0);

    EXPECT_EQ(c.log(), (Lines{"VEXA: Creating subscription scores", "VEXA: Subscription hash - " + hash,
                              "VEXA: Found existing topic", "VEXA: Returning " + hash}));
    EXPECT_EQ(c.table("current"), tableOf({{hash, topic("scores", std::nullopt, 200.0)}}));
}

} // namespace
} // namespace vexa::testing
