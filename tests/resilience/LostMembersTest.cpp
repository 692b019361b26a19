#include "NumberPublisher.hpp"
#include "NumberSubscriber.hpp"
#include "RestartableService.hpp"
#include "Settings.hpp"
#include "SwitchingRelay.hpp"

#include <gtest/gtest.h>
#include <tests/nats/NatsServer.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

constexpr std::uint64_t messagesPerSecond = 2'000;
constexpr std::size_t serviceCount = 2;

/// For how many seconds is published in each round: VEXA_RESILIENCE_SECONDS in the environment, or a few.
std::uint64_t secondsOfRound()
{
    return settingOr("VEXA_RESILIENCE_SECONDS", 4);
}

/// How many times a member of the cluster and a service are lost: VEXA_RESILIENCE_ROUNDS in the environment, or once.
std::uint64_t rounds()
{
    return settingOr("VEXA_RESILIENCE_ROUNDS", 1);
}

/// The subscribers of each service: VEXA_RESILIENCE_SUBSCRIBERS in the environment, or fifty.
std::size_t subscribersOfService()
{
    return settingOr("VEXA_RESILIENCE_SUBSCRIBERS", 50);
}

std::string joinedAddresses(const NatsCluster& cluster)
{
    std::string joined;
    for (const std::string& address : cluster.addresses()) {
        joined += (joined.empty() ? "" : ",") + address;
    }
    return joined;
}

double secondsSince(std::chrono::steady_clock::time_point moment)
{
    return std::chrono::duration<double>{std::chrono::steady_clock::now() - moment}.count();
}

/// Two services over three members of a cluster, with subscribers on each, and one publisher in front of both.
class LostMembers : public ::testing::Test {
protected:
    LostMembers()
    {
        platform.setLogSink([](std::string_view) {});
    }

    [[nodiscard]] std::vector<std::string> arguments() const
    {
        // Longer than any election takes, so that a publication waits for the new leader instead of failing. A
        // subscriber that was away for a whole round must still find all of it.
        return {"--broker", joinedAddresses(cluster), "--nats-replicas", "3", "--nats-publish-limit",
                "60",       "--history-count",        "1000000"};
    }

    [[nodiscard]] bool awaitAccepted(const NumberPublisher& publisher, std::uint64_t count) const
    {
        return awaitWhileItMoves([&] { return publisher.accepted() >= count; }, [&] { return publisher.accepted(); });
    }

    /// Loses a member of the cluster and a service, the ones that matter most, and has them back, while `count`
    /// messages are acknowledged behind the first `before`.
    void loseAndRegain(const NumberPublisher& publisher, std::uint64_t round, std::uint64_t before, std::uint64_t count)
    {
        ASSERT_TRUE(awaitAccepted(publisher, before + count / 4));
        std::optional<std::size_t> leader;
        ASSERT_TRUE(
            awaitWhileItMoves([&] { return (leader = cluster.leaderOf("VEXA")).has_value(); }, [] { return 0; }));
        cluster.server(*leader).kill();
        ASSERT_TRUE(awaitAccepted(publisher, before + count / 2));
        // The publisher is at the first service in the first round, and has been driven to the other one for the next.
        RestartableService& lost = services.at(round % serviceCount);
        lost.kill();
        ASSERT_TRUE(awaitAccepted(publisher, before + 3 * count / 4));
        lost.start();
        cluster.server(*leader).start();
        ASSERT_TRUE(awaitAccepted(publisher, before + count));
        ASSERT_TRUE(awaitWhileItMoves([this] { return cluster.isCurrent("VEXA"); }, [] { return 0; }));
    }

    SystemPlatform platform;
    NatsCluster cluster;
    std::array<RestartableService, serviceCount> services{RestartableService{arguments()},
                                                          RestartableService{arguments()}};
};

TEST_F(LostMembers, EverySubscriberGetsEveryMessageOnceAndInOrder)
{
    NumberSubscribers subscribers{platform};
    for (const RestartableService& service : services) {
        subscribers.add(subscribersOfService(), service.url(), "scores");
    }
    const SwitchingRelay relay{{services[0].port(), services[1].port()}};
    const std::uint64_t perRound = messagesPerSecond * secondsOfRound();
    const std::uint64_t count = perRound * rounds();
    const auto start = std::chrono::steady_clock::now();
    NumberPublisher publisher{
        platform,
        relay.url(),
        {.topic = "scores", .count = count, .rate = static_cast<double>(messagesPerSecond), .unanswered = 5'000}};
    for (std::uint64_t round = 0; round < rounds(); ++round) {
        loseAndRegain(publisher, round, round * perRound, perRound);
        ASSERT_FALSE(HasFatalFailure());
    }

    ASSERT_TRUE(awaitWhileItMoves([&] { return publisher.isDone(); }, [&] { return publisher.accepted(); }));
    const double published = secondsSince(start);
    EXPECT_EQ(publisher.refusals(), std::vector<std::string>{});
    EXPECT_EQ(publisher.accepted(), count);
    EXPECT_GE(publisher.reconnects(), rounds());
    const std::size_t all = subscribers.all().size();
    EXPECT_TRUE(
        awaitWhileItMoves([&] { return subscribers.countWith(count) == all; }, [&] { return subscribers.received(); }));
    for (const NumberSubscriber& each : subscribers.all()) {
        const SequenceAccount account = each.account();
        EXPECT_EQ(account.count(), count);
        EXPECT_EQ(account.missing(count), 0U);
        EXPECT_EQ(account.duplicated(), 0U);
        EXPECT_EQ(account.outOfOrder(), 0U);
    }
    std::printf("%llu messages to %zu subscribers: acknowledged within %.1f s, delivered within %.1f s; "
                "%llu reconnects of subscribers, %llu of the publisher\n",
                static_cast<unsigned long long>(count), all, published, secondsSince(start),
                static_cast<unsigned long long>(subscribers.reconnects()),
                static_cast<unsigned long long>(publisher.reconnects()));
}

} // namespace
} // namespace vexa::host
