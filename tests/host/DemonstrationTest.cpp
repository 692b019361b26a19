#include "ServiceClient.hpp"
#include <host/broker/MemoryBroker.hpp>
#include <host/embedded/EmbeddedTransport.hpp>
#include <host/tool/demo/CoroutineFollower.hpp>
#include <host/tool/demo/Demonstration.hpp>
#include <host/tool/demo/EmbeddedStage.hpp>
#include <testing/StandaloneLibrary.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Names = std::vector<std::string>;

/// Figures that are made up, on the topics of a small machine.
class MadeUpFigures final : public FigureSource {
public:
    std::vector<Figure> sample(double now) override
    {
        std::vector<Figure> figures;
        for (const int minutes : {1, 15}) {
            figures.push_back({"load", Value(Dictionary{{"minutes", minutes}}), Unit::tasks, now, {}});
        }
        figures.push_back({"memory", std::nullopt, Unit::percent, 50, {{"totalBytes", 1000}}});
        figures.push_back({"network", Value(Dictionary{{"interface", "eth0"}}), Unit::bytesPerSecond, 7, {}});
        figures.push_back({"process", Value(Dictionary{{"id", 1}}), Unit::percent, 1, {}});
        return figures;
    }
};

/// Keeps what a demonstration tells.
class Listener final : public DemoObserver {
public:
    void happened(const DemoEvent& event) override { events.push_back(event); }
    void finished(const DemoSummary& result) override
    {
        EXPECT_FALSE(summary);
        summary = result;
    }

    [[nodiscard]] Names names() const
    {
        Names names;
        for (const DemoEvent& event : events) {
            names.push_back(event.name);
        }
        return names;
    }

    std::vector<DemoEvent> events;
    std::optional<DemoSummary> summary;
};

struct DemoUnderTest {
    explicit DemoUnderTest(std::uint64_t seed = testing::defaultSeed(), double seconds = 20)
        : platform{seed},
          service{std::make_shared<VexaService>(MemoryBroker::make({}, platform), ServiceLimits{}, platform)},
          transport{EmbeddedTransport::make(service, throughText(), platform)},
          plan{planFor(seconds)}
    {
        container.oruClient(transport);
        library.emplace(platform, container);
        demonstration =
            Demonstration::make({platform, stage, library->manager(), figures, followers,
                                 [this] { transport->send({{"category", "zltMsg"}, {"type", "sdk-echo"}}); }, listener},
                                plan);
    }

    ~DemoUnderTest()
    {
        // Before the platform, on which its followers wait.
        demonstration.reset();
        platform.runUntilIdle();
    }
    DemoUnderTest(const DemoUnderTest&) = delete;
    DemoUnderTest& operator=(const DemoUnderTest&) = delete;

    static EmbeddedTransportOptions throughText()
    {
        EmbeddedTransportOptions options;
        options.throughText = true;
        return options;
    }

    const DemoSummary& run(double seconds)
    {
        demonstration->start();
        platform.clock.advance(seconds);
        return summary();
    }
    const DemoSummary& run() { return run(plan.duration + 3 * plan.patience); }

    const DemoSummary& summary()
    {
        EXPECT_TRUE(listener.summary);
        static const DemoSummary none;
        return listener.summary ? *listener.summary : none;
    }

    VirtualPlatform platform;
    Dependencies container;
    std::shared_ptr<VexaService> service;
    std::shared_ptr<EmbeddedTransport> transport;
    EmbeddedStage stage{service, transport};
    std::optional<testing::StandaloneLibrary> library;
    MadeUpFigures figures;
    CoroutineFollowerMaker followers;
    Listener listener;
    DemoPlan plan;
    std::shared_ptr<Demonstration> demonstration;
};

TEST(Demonstration, DeliversEverythingOnceAndInOrder)
{
    for (const std::uint64_t seed : seeds(5)) {
        SCOPED_TRACE(replayHint(seed));
        DemoUnderTest t{seed};

        const DemoSummary& summary = t.run();

        EXPECT_EQ(summary.complaints(), Names{});
        EXPECT_EQ(summary.totals.streams, 6U) << "one for each topic, and a second one for the first";
        EXPECT_GE(summary.totals.published, 4U * 199 + 169) << "ten times a second, on one topic until it ended";
        EXPECT_GT(summary.totals.delivered, summary.totals.published);
        EXPECT_EQ(summary.ends.byService, 1U);
        EXPECT_EQ(summary.ends.byConsumer, 5U);
        EXPECT_EQ(summary.openings, 2U);
        EXPECT_EQ(summary.echoes, 1U);
    }
}

TEST(Demonstration, ReplaysWhatTheCutAndTheLateStreamMissed)
{
    DemoUnderTest t;

    const DemoSummary& summary = t.run();

    const double cut = t.plan.reopenAt - t.plan.cutAt;
    EXPECT_NEAR(static_cast<double>(summary.totals.replayed), 6 * 10 * cut + 10 * t.plan.lateStreamAt, 10.0);
}

TEST(Demonstration, TellsWhatHappensInOrder)
{
    DemoUnderTest t;

    t.run();

    EXPECT_EQ(t.listener.names(), (Names{"started", "echoSent", "lateStream", "connectionCut", "connectionOpened",
                                         "caughtUp", "topicEnded", "publishingEnded"}));
    EXPECT_EQ(t.listener.events.at(3).at, t.plan.cutAt);
    EXPECT_EQ(t.listener.events.at(4).at, t.plan.reopenAt);
}

TEST(Demonstration, ShowsTheConnectionAsItIs)
{
    DemoUnderTest t;
    t.demonstration->start();
    const auto stateAt = [&t](double moment) {
        t.platform.clock.advance(moment - t.platform.clock.elapsed());
        return t.demonstration->snapshot().connection;
    };

    EXPECT_EQ(stateAt(t.plan.cutAt - 0.5), ConnectionState::open);
    EXPECT_EQ(stateAt(t.plan.cutAt + 0.5), ConnectionState::closed);
    EXPECT_GT(t.demonstration->snapshot().totals.missing, 0U);
    EXPECT_EQ(stateAt(t.plan.reopenAt + 0.5), ConnectionState::open);
    EXPECT_EQ(t.demonstration->snapshot().totals.missing, 0U);
}

TEST(Demonstration, NoticesLostMessages)
{
    DemoUnderTest t;
    t.demonstration->start();
    t.platform.clock.advance(1);
    t.transport->lose(TrafficDirection::toClient, loseNext(3));

    t.platform.clock.advance(100);

    EXPECT_GE(t.summary().totals.missing, 3U);
    EXPECT_NE(t.summary().complaints(), Names{});
    EXPECT_EQ(t.summary().ends.badly, 0U) << "the streams themselves end all the same";
}

TEST(Demonstration, NoticesMessagesThatComeTwice)
{
    /// Follows a stream and repeats one element.
    class Repeater final : public FollowerMaker {
    public:
        std::unique_ptr<StreamFollower> follow(FollowStyle style, TopicStream stream, FollowerEvents events) override
        {
            events.received = [received = events.received, count = 0](const TopicElement& element) mutable {
                received(element);
                if (++count == 5) {
                    received(element);
                }
            };
            return maker_.follow(style, std::move(stream), std::move(events));
        }

    private:
        CoroutineFollowerMaker maker_;
    };
    DemoUnderTest t;
    Repeater repeater;
    Listener listener;
    t.demonstration =
        Demonstration::make({t.platform, t.stage, t.library->manager(), t.figures, repeater, [] {}, listener}, t.plan);
    t.demonstration->start();
    t.platform.clock.advance(100);

    ASSERT_TRUE(listener.summary);
    EXPECT_EQ(listener.summary->totals.duplicated, 6U);
    EXPECT_EQ(listener.summary->totals.missing, 0U);
    EXPECT_EQ(listener.summary->complaints(), (Names{"6 duplicated", "the service did not receive the echo"}));
}

TEST(Demonstration, NoticesThatNothingArrives)
{
    DemoUnderTest t;
    t.transport->lose(TrafficDirection::toClient, loseFraction(1, 1));

    const DemoSummary& summary = t.run();

    EXPECT_EQ(summary.totals.delivered, 0U);
    EXPECT_EQ(summary.complaints().at(0), "nothing was delivered");
}

TEST(Demonstration, NoticesAStreamThatDoesNotEnd)
{
    /// Never tells that a stream ended.
    class Silencer final : public FollowerMaker {
    public:
        std::unique_ptr<StreamFollower> follow(FollowStyle style, TopicStream stream, FollowerEvents events) override
        {
            events.ended = [] {};
            return maker_.follow(style, std::move(stream), std::move(events));
        }

    private:
        CoroutineFollowerMaker maker_;
    };
    DemoUnderTest t;
    Silencer silencer;
    Listener listener;
    t.demonstration =
        Demonstration::make({t.platform, t.stage, t.library->manager(), t.figures, silencer, [] {}, listener}, t.plan);
    t.demonstration->start();
    t.platform.clock.advance(100);

    ASSERT_TRUE(listener.summary);
    EXPECT_EQ(listener.summary->ends.badly, 6U);
    EXPECT_EQ(listener.summary->complaints().at(0), "6 of the streams did not end as they should");
}

TEST(Demonstration, RecoversLostRequestsByThemselves)
{
    DemoUnderTest t{testing::defaultSeed(), 60};
    t.transport->lose(TrafficDirection::toService, [lost = 0](const Dictionary& message) mutable {
        return message.at("type") == "subscribe" && ++lost <= 2;
    });

    EXPECT_EQ(t.run().complaints(), Names{});
    EXPECT_EQ(t.transport->figures().toService.lost, 2U);
}

TEST(Demonstration, EndsEarlyWhenItIsInterrupted)
{
    for (const double moment : {0.5, 5.0, 11.0, 13.0, 19.9}) {
        SCOPED_TRACE(moment);
        DemoUnderTest t;
        t.demonstration->start();
        t.platform.clock.advance(moment);

        t.demonstration->interrupt();
        t.platform.clock.advance(0.5);

        EXPECT_TRUE(t.summary().wasInterrupted);
        EXPECT_EQ(t.summary().complaints(), Names{});
        EXPECT_NEAR(t.summary().seconds, moment, 0.5);
    }
}

TEST(Demonstration, NeedsNothingButTheProcessItself)
{
    /// The figures of a machine without any file of the kernel's.
    class OneFigure final : public FigureSource {
    public:
        std::vector<Figure> sample(double) override
        {
            return {{"process", Value(Dictionary{{"id", 1}}), Unit::percent, 1, {}}};
        }
    };
    DemoUnderTest t;
    OneFigure figures;
    Listener listener;
    t.demonstration =
        Demonstration::make({t.platform, t.stage, t.library->manager(), figures, t.followers,
                             [&t] { t.transport->send({{"category", "zltMsg"}, {"type", "sdk-echo"}}); }, listener},
                            t.plan);
    t.demonstration->start();
    t.platform.clock.advance(t.plan.duration);

    ASSERT_TRUE(listener.summary);
    EXPECT_EQ(listener.summary->complaints(), Names{});
    EXPECT_EQ(listener.summary->ends.byService, 2U);
    const Names names = listener.names();
    EXPECT_EQ(std::count(names.begin(), names.end(), "topicEnded"), 1);
}

TEST(DemoPlan, KeepsItsOrderAtEveryLength)
{
    for (const double seconds : {2.0, 5.0, 20.0, 60.0, 3600.0}) {
        const DemoPlan plan = planFor(seconds);
        EXPECT_EQ(plan.duration, seconds);
        EXPECT_LT(0, plan.echoAt);
        EXPECT_LT(plan.echoAt, plan.lateStreamAt);
        EXPECT_LT(plan.lateStreamAt, plan.cutAt);
        EXPECT_LT(plan.cutAt, plan.reopenAt);
        EXPECT_LT(plan.reopenAt, plan.endTopicAt);
        EXPECT_LT(plan.endTopicAt, plan.duration);
        EXPECT_EQ(plan.cutAt, seconds / 2);
        EXPECT_LE(plan.reopenAt - plan.cutAt, 5);
    }
}

} // namespace
} // namespace vexa::host
