#include "NumberPublisher.hpp"
#include "NumberSubscriber.hpp"
#include "RestartableService.hpp"
#include "Settings.hpp"

#include <gtest/gtest.h>
#include <tests/nats/NatsServer.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

/// How many times the service is killed: VEXA_RESILIENCE_KILLS in the environment, or a few.
std::uint64_t kills()
{
    return settingOr("VEXA_RESILIENCE_KILLS", 3);
}

TEST(KilledService, LosesNothingThatItHasAcknowledgedAndRepeatsNothing)
{
    constexpr std::uint64_t betweenKills = 1'000;
    constexpr std::size_t subscriberCount = 10;
    SingleNatsServer nats;
    RestartableService service{{"--broker", nats.server().address(), "--nats-publish-limit", "60"}};
    SystemPlatform platform;
    platform.setLogSink([](std::string_view) {});
    NumberSubscribers subscribers{platform};
    subscribers.add(subscriberCount, service.url(), "scores");

    const std::uint64_t count = betweenKills * (kills() + 1);
    NumberPublisher publisher{platform, service.url(), {.topic = "scores", .count = count}};
    const auto accepted = [&publisher] { return publisher.accepted(); };
    for (std::uint64_t kill = 1; kill <= kills(); ++kill) {
        ASSERT_TRUE(awaitWhileItMoves([&] { return publisher.accepted() >= kill * betweenKills; }, accepted));
        service.kill();
        service.start();
    }

    ASSERT_TRUE(awaitWhileItMoves([&publisher] { return publisher.isDone(); }, accepted));
    EXPECT_EQ(publisher.refusals(), std::vector<std::string>{});
    EXPECT_EQ(publisher.accepted(), count);
    EXPECT_GE(publisher.reconnects(), kills());
    ASSERT_TRUE(awaitWhileItMoves([&] { return subscribers.countWith(count) == subscriberCount; },
                                  [&] { return subscribers.received(); }));
    for (const NumberSubscriber& each : subscribers.all()) {
        const SequenceAccount account = each.account();
        EXPECT_EQ(account.count(), count);
        EXPECT_EQ(account.missing(count), 0U);
        EXPECT_EQ(account.duplicated(), 0U);
        EXPECT_EQ(account.outOfOrder(), 0U);
        EXPECT_GE(each.reconnects(), 1U) << "fewer than the kills, for one that is away when the next one comes";
    }
}

} // namespace
} // namespace vexa::host
