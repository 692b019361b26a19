#include "ServiceClient.hpp"
#include <host/broker/MemoryBroker.hpp>
#include <host/embedded/EmbeddedTransport.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <VexaClient/platform/Random.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using Numbers = std::vector<int>;
using Stream = AsyncStream<VexaSubscriptionStream::Element>;

/// The library, an embedded transport and the service, on one platform.
template <class PlatformType>
struct Together {
    template <class... Arguments>
    explicit Together(bool throughText, Arguments&&... arguments)
        : platform{std::forward<Arguments>(arguments)...},
          service{std::make_shared<VexaService>(MemoryBroker::make({}, platform), ServiceLimits{}, platform)}
    {
        EmbeddedTransportOptions options;
        options.throughText = throughText;
        transport = EmbeddedTransport::make(service, std::move(options), platform);
        container.oruClient(transport);
        library.emplace(platform, container);
    }

    [[nodiscard]] Stream follow(std::string_view name, const Parameters& parameters = std::nullopt,
                                std::optional<double> updatedAt = std::nullopt)
    {
        return VexaSubscriptionStream::createStream(name, parameters, updatedAt, library->manager());
    }

    void publish(int number) { service->publish("scores", std::nullopt, {numbered(number)}); }

    PlatformType platform;
    Dependencies container;
    std::shared_ptr<VexaService> service;
    std::shared_ptr<EmbeddedTransport> transport;
    std::optional<testing::StandaloneLibrary> library;
};

struct OnVirtualTime : Together<VirtualPlatform> {
    explicit OnVirtualTime(std::uint64_t seed = testing::defaultSeed(), bool throughText = true)
        : Together{throughText, seed}
    {}

    /// The numbers that a stream has by now.
    Numbers taken(Stream& stream)
    {
        platform.runUntilIdle();
        Numbers numbers;
        while (auto element = stream.waitFor(0)) {
            numbers.push_back(element->message->at("payload").at("number").to_number<int>());
            lastUpdatedAt = element->message->at("payload").at("updatedAt").as_double();
        }
        return numbers;
    }

    double lastUpdatedAt = 0;
};

TEST(LibraryOverService, DeliversWhatIsPublished)
{
    for (const bool throughText : {false, true}) {
        OnVirtualTime t{testing::defaultSeed(), throughText};
        t.transport->open();
        Stream stream = t.follow("scores", Value(json(R"({"league":4})")));
        t.platform.runUntilIdle();

        t.service->publish("scores", Value(json(R"({"league":4.0})")), {numbered(1), numbered(2)});

        EXPECT_EQ(t.taken(stream), (Numbers{1, 2}));
    }
}

TEST(LibraryOverService, CatchesUpAfterEveryReconnectionOnceAndInOrder)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        OnVirtualTime t{seed};
        Stream first = t.follow("scores");
        Stream second = t.follow("scores");
        for (int number = 1; number <= 100; ++number) {
            // Publishing, opening and closing meet in every order.
            t.publish(number);
            const std::uint64_t draw = uniformBelow(t.platform, 10);
            if (draw == 0) {
                t.transport->close();
            } else if (draw <= 2) {
                t.transport->open();
            }
            for (std::uint64_t steps = uniformBelow(t.platform, 20); steps > 0; --steps) {
                t.platform.runOne();
            }
            t.platform.clock.advance(static_cast<double>(uniformBelow(t.platform, 3)));
        }
        t.transport->open();

        Numbers all;
        for (int number = 1; number <= 100; ++number) {
            all.push_back(number);
        }
        EXPECT_EQ(t.taken(first), all);
        EXPECT_EQ(t.taken(second), all);
    }
}

TEST(LibraryOverService, LosesAndRepeatsNothingForStreamsThatJoinAtAnyMoment)
{
    for (const std::uint64_t seed : seeds(100)) {
        SCOPED_TRACE(replayHint(seed));
        OnVirtualTime t{seed};
        std::vector<Stream> streams;
        for (int number = 1; number <= 60; ++number) {
            t.publish(number);
            switch (uniformBelow(t.platform, 8)) {
            case 0:
                t.transport->close();
                break;
            case 1:
            case 2:
                t.transport->open();
                break;
            case 3:
                streams.push_back(t.follow("scores"));
                break;
            default:
                break;
            }
            for (std::uint64_t steps = uniformBelow(t.platform, 12); steps > 0; --steps) {
                t.platform.runOne();
            }
            if (uniformBelow(t.platform, 4) == 0) {
                t.platform.clock.advance(1);
            }
        }
        t.transport->open();
        streams.push_back(t.follow("scores"));
        t.publish(61);

        bool isFirst = true;
        for (Stream& stream : streams) {
            const Numbers numbers = t.taken(stream);
            ASSERT_FALSE(numbers.empty());
            if (std::exchange(isFirst, false)) {
                EXPECT_EQ(numbers.front(), 1) << "the first stream gets all that was kept";
            }
            Numbers unbroken;
            for (int number = numbers.front(); number <= 61; ++number) {
                unbroken.push_back(number);
            }
            EXPECT_EQ(numbers, unbroken);
        }
    }
}

TEST(LibraryOverService, RecoversALostRequestAndALostAnswer)
{
    for (const TrafficDirection direction : {TrafficDirection::toService, TrafficDirection::toClient}) {
        OnVirtualTime t;
        t.transport->open();
        t.platform.runUntilIdle();
        t.transport->lose(direction, loseNext(1));
        Stream stream = t.follow("scores");
        EXPECT_EQ(t.taken(stream), Numbers{});

        t.platform.clock.advance(10);
        t.publish(1);

        EXPECT_EQ(t.taken(stream), Numbers{1});
        EXPECT_EQ(t.service->figures().subscriptions, 1U);
    }
}

TEST(LibraryOverService, ResumesFromTheTimeThatAStreamNames)
{
    OnVirtualTime t;
    t.transport->open();
    {
        Stream earlier = t.follow("scores");
        t.publish(1);
        t.publish(2);
        EXPECT_EQ(t.taken(earlier), (Numbers{1, 2}));
    }
    t.publish(3);

    // A client and a connection of their own, as after a restart of the application.
    Dependencies container;
    const auto transport = EmbeddedTransport::make(t.service, {}, t.platform);
    container.oruClient(transport);
    transport->open();
    const testing::StandaloneLibrary library{t.platform, container};
    Stream stream = VexaSubscriptionStream::createStream("scores", std::nullopt, t.lastUpdatedAt, library.manager());

    EXPECT_EQ(t.taken(stream), Numbers{3});
}

TEST(LibraryOverService, FinishesTheStreamOfATopicThatEnds)
{
    OnVirtualTime t;
    t.transport->open();
    Stream stream = t.follow("scores");
    t.publish(1);
    t.service->end("scores", std::nullopt, numbered(2));

    EXPECT_EQ(t.taken(stream), (Numbers{1, 2}));
    EXPECT_TRUE(stream.isExhausted());

    Stream again = t.follow("scores");
    t.publish(3);
    EXPECT_EQ(t.taken(again), Numbers{3}) << "a topic that opens again reaches the same client";
}

TEST(LibraryOverService, TellsALateClientThatATopicHasEnded)
{
    OnVirtualTime t;
    t.transport->open();
    t.publish(1);
    t.service->end("scores", std::nullopt, numbered(2));
    t.platform.runUntilIdle();

    Stream stream = t.follow("scores");

    EXPECT_EQ(t.taken(stream), (Numbers{1, 2}));
    EXPECT_TRUE(stream.isExhausted());
}

TEST(LibraryOverService, BringsTheDiagnosticReportsToTheService)
{
    OnVirtualTime t;
    t.transport->open();
    Stream stream = t.follow("scores");
    t.platform.runUntilIdle();
    t.publish(1);
    t.publish(2);
    t.platform.clock.advance(300);

    std::multiset<std::string> kinds;
    for (const ServerLogRecord& record : t.service->serverLogRecords()) {
        EXPECT_EQ(record.category, "vexa");
        EXPECT_EQ(record.severity, 0);
        kinds.emplace(record.blob.begin()->key());
    }
    EXPECT_EQ(kinds.count("vexaMessages"), 2U);
    EXPECT_GE(kinds.count("vexaSubscriptionResponses"), 1U);
    EXPECT_EQ(t.service->figures().malformed, 0U);
    EXPECT_EQ(t.service->figures().unknown, 0U);
}

TEST(LibraryOverService, WorksOnThreads)
{
    Together<SystemPlatform> t{true};
    t.platform.setLogSink([](std::string_view) {});
    t.transport->open();
    Stream first = t.follow("scores");
    Stream second = t.follow("scores");
    for (int number = 1; number <= 2000; ++number) {
        t.publish(number);
        if (number % 500 == 0) {
            t.transport->close();
            t.transport->open();
        }
    }
    t.service->end("scores", std::nullopt, numbered(2001));

    for (Stream* stream : {&first, &second}) {
        int expected = 1;
        for (const auto& element : *stream) {
            ASSERT_EQ(element.message->at("payload").at("number"), expected);
            ++expected;
        }
        EXPECT_EQ(expected, 2002);
    }
}

} // namespace
} // namespace vexa::host
