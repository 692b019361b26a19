#include "Conversation.hpp"
#include "QueueWatch.hpp"
#include <VexaClient/platform/Random.hpp>

#include <functional>
#include <limits>

namespace vexa::testing {
namespace {

/// A draw that lies `parts` of all parts into the range of delays.
constexpr std::uint64_t drawOf(std::uint64_t parts)
{
    return parts << 34U;
}

/// As many parts as make delays that differ by more than the clock can tell apart.
constexpr std::uint64_t allParts = std::uint64_t{1} << 30U;

/// A logger that calls back with what it is given.
class CallingLogger final : public OruClientLogger {
public:
    explicit CallingLogger(std::function<void()> onServerLog) : onServerLog_{std::move(onServerLog)} {}

    void consoleLog(std::string_view) override {}
    void serverLog(std::string_view, Dictionary, std::int64_t) override { onServerLog_(); }

private:
    std::function<void()> onServerLog_;
};

TEST(DiagnosticReport, GoesToTheServersLogUnderTheLibrarysCategoryWithoutWeight)
{
    Conversation c;
    c.platform.nextRandomBits({drawOf(allParts / 2)});
    c.subscribe("scores", "s-1");
    c.platform.clock.advance(300.0);

    const std::vector<ServerLog> logs = c.transport->fakeLogger().serverLogs();
    ASSERT_EQ(logs.size(), 1U);
    EXPECT_EQ(logs[0].category, "vexa");
    EXPECT_EQ(logs[0].severity, 0);
    EXPECT_EQ(logs[0].at, 152.5);
    EXPECT_EQ(Value(logs[0].blob), topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores")},
                                                 {"visible", true},
                                                 {"subscriptionId", "s-1"}}}));
}

TEST(DiagnosticReport, WaitsForFiveSecondsAtLeast)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.platform.nextRandomBits({drawOf(0)});
    const double start = c.platform.clock.elapsed();

    c.service.data({entry("s-1")});
    EXPECT_EQ(c.platform.pendingDelays().nextDue, start + 5.0);
    c.platform.clock.advance(4.999);
    EXPECT_EQ(c.transport->fakeLogger().takeServerLogs().size(), 0U);
    c.platform.clock.advance(0.001);
    EXPECT_EQ(c.transport->fakeLogger().takeServerLogs().size(), 1U);
}

TEST(DiagnosticReport, WaitsForLessThanThreeHundredSeconds)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.platform.nextRandomBits({drawOf(allParts - 1)});
    const double start = c.platform.clock.elapsed();

    c.service.data({entry("s-1")});
    ASSERT_TRUE(c.platform.pendingDelays().nextDue.has_value());
    EXPECT_NEAR(*c.platform.pendingDelays().nextDue, start + 300.0 - 295.0 / static_cast<double>(allParts), 1.0e-9);
    EXPECT_LT(*c.platform.pendingDelays().nextDue, start + 300.0);
}

TEST(DiagnosticReport, DrawsAgainWhatRoundsToTheUpperBound)
{
    VirtualPlatform platform;
    const double upper = 1.0 + std::numeric_limits<double>::epsilon();
    platform.nextRandomBits({std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::uint64_t>::max(), 0});

    EXPECT_EQ(uniformBetween(platform, 1.0, upper), 1.0);
}

TEST(DiagnosticReport, DrawsItsDelayFromTheWholeRange)
{
    double least = 300.0;
    double most = 0.0;
    for (const std::uint64_t seed : seeds(200)) {
        SCOPED_TRACE(replayHint(seed));
        Conversation c{seed};
        c.subscribe("scores", "s-1");
        ASSERT_EQ(c.reports().size(), 1U);
        const double delay = c.transport->fakeLogger().serverLogs()[0].at;
        EXPECT_GE(delay, 5.0);
        EXPECT_LT(delay, 300.0);
        least = std::min(least, delay);
        most = std::max(most, delay);
    }
    if (seeds(2).size() == 2) {
        EXPECT_LT(least, 20.0);
        EXPECT_GT(most, 285.0);
    }
}

TEST(DiagnosticReport, HasADelayOfItsOwn)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.platform.nextRandomBits({drawOf(allParts / 2), drawOf(0), drawOf(allParts / 4)});
    const double start = c.platform.clock.elapsed();

    c.service.data({entry("s-1")}, 1.0);
    c.service.data({entry("s-1")}, 2.0);
    c.service.data({entry("s-1")}, 3.0);
    c.platform.clock.advance(300.0);

    std::vector<std::pair<double, double>> sent;
    for (const ServerLog& each : c.transport->fakeLogger().takeServerLogs()) {
        sent.emplace_back(each.blob.at("vexaMessages").at(0).at("sentAt").as_double(), each.at - start);
    }
    EXPECT_EQ(sent, (std::vector<std::pair<double, double>>{{2.0, 5.0}, {3.0, 78.75}, {1.0, 152.5}}));
}

TEST(DiagnosticReport, IsSentExactlyOnce)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    EXPECT_EQ(c.reports().size(), 1U);

    c.platform.clock.advance(3000.0);

    EXPECT_EQ(c.reports(), Values{});
}

TEST(DiagnosticReport, GoesToTheLoggerOfTheMomentWhenItWasMade)
{
    Conversation c;
    const auto replacement = std::make_shared<FakeTransport>(c.platform);
    c.subscribe("scores", "s-1");
    c.container.oruClient(replacement);
    EXPECT_EQ(c.reports().size(), 1U);
    EXPECT_EQ(replacement->fakeLogger().serverLogs().size(), 0U);

    c.service.data({entry("s-1")});
    EXPECT_EQ(c.reports(), Values{});
    EXPECT_EQ(replacement->fakeLogger().serverLogs().size(), 1U);
}

TEST(DiagnosticReport, FetchesTheLoggerOnceWhenItIsMade)
{
    Conversation c;
    c.request("scores");
    const std::size_t before = c.transport->count(FakeTransport::Operation::logger);

    c.service.expectSubscribe("scores").reply(success("s-1"));
    EXPECT_EQ(c.transport->count(FakeTransport::Operation::logger), before + 1);
    EXPECT_EQ(c.reports().size(), 1U);
    EXPECT_EQ(c.transport->count(FakeTransport::Operation::logger), before + 1);
}

TEST(DiagnosticReport, KeepsItsLoggerUntilItIsSentAndNoLonger)
{
    Conversation c;
    int calls = 0;
    auto logger = std::make_shared<CallingLogger>([&calls] { ++calls; });
    const std::weak_ptr<CallingLogger> alive = logger;
    c.transport->setLogger(std::move(logger));
    c.subscribe("scores", "s-1");
    c.transport->setLogger(nullptr);
    EXPECT_FALSE(alive.expired());

    c.platform.clock.advance(300.0);

    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(alive.expired());
}

TEST(DiagnosticReport, IsSentThoughTheClientIsGone)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.platform.nextRandomBits({drawOf(allParts / 2)});
    c.service.data({entry("s-1")});
    c.feed->take();
    const std::weak_ptr<VexaOruClient> alive = c.client;

    c.client.reset();
    EXPECT_TRUE(alive.expired());
    c.platform.clock.advance(300.0);

    EXPECT_EQ(c.transport->fakeLogger().takeServerLogs().size(), 1U);
}

TEST(DiagnosticReport, KeepsNoMessageAlive)
{
    Conversation c;
    c.subscribe("scores", "s-1");
    c.startAfresh();
    c.platform.nextRandomBits({drawOf(allParts / 2)});

    std::weak_ptr<const Dictionary> batch = c.service.data({entry("s-1"), entry("s-unknown")});
    c.feed->take();

    EXPECT_EQ(c.platform.pendingDelays().items, 1U);
    EXPECT_TRUE(batch.expired());
    EXPECT_EQ(c.reports().size(), 1U);
}

TEST(DiagnosticReport, KeepsNoResponseAlive)
{
    Conversation c;
    c.request("scores");
    c.platform.nextRandomBits({drawOf(allParts / 2)});

    const std::weak_ptr<const Dictionary> response =
        c.service.deliver(subscriptionResponse("O-001", {failure("NotAllowed", "No access")}));

    EXPECT_EQ(c.platform.pendingDelays().items, 1U);
    EXPECT_TRUE(response.expired());
}

TEST(DiagnosticReport, TellsHowThingsWereWhenItWasMade)
{
    Conversation c;
    c.transport->visible = false;
    c.subscribe("scores", "s-1", 10.0);
    c.startAfresh();
    c.platform.nextRandomBits({drawOf(allParts / 2), drawOf(0)});
    const double receivedAt = c.platform.clock.now();
    c.service.data({entry("s-1", {{"updatedAt", 20.0}})}, 15.0);

    c.transport->visible = true;
    c.platform.clock.jump(1000.0);
    c.service.data({entry("s-1", {{"updatedAt", 30.0}})}, 25.0);
    c.client->createSubscription("scores", std::nullopt, 40.0);

    EXPECT_EQ(c.reports(), (Values{messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 25.0},
                                                   {"receivedAt", receivedAt + 1000.0},
                                                   {"visible", true},
                                                   {"topic", topic("scores", std::nullopt, 30.0)}}}),
                                   messageReport({{{"delivery", "online"},
                                                   {"subscriptionId", "s-1"},
                                                   {"sentAt", 15.0},
                                                   {"receivedAt", receivedAt},
                                                   {"visible", false},
                                                   {"topic", topic("scores", std::nullopt, 20.0)}}})}));
}

TEST(DiagnosticReport, DescribesTheAnsweredTopicAsItWasWhenTheAnswerCame)
{
    Conversation c;
    c.platform.nextRandomBits({drawOf(allParts / 2)});
    c.subscribe("scores", "s-1", 10.0);
    c.client->createSubscription("scores", std::nullopt, 99.0);
    c.transport->visible = false;

    EXPECT_EQ(c.reports(), (Values{topicReport({{{"operationId", "O-001"},
                                                 {"status", "success"},
                                                 {"topic", topic("scores", std::nullopt, 10.0)},
                                                 {"visible", true},
                                                 {"subscriptionId", "s-1"}}})}));
}

TEST(DiagnosticReport, IsSentAsCodeOfTheHost)
{
    Conversation c;
    std::vector<bool> isHostCode;
    c.transport->setLogger(std::make_shared<CallingLogger>([&] { isHostCode.push_back(c.platform.isInHostCode()); }));

    c.subscribe("scores", "s-1");
    c.platform.clock.advance(300.0);

    EXPECT_EQ(isHostCode, (std::vector<bool>{true}));
}

TEST(DiagnosticReport, IsSentOnTheStateQueue)
{
    Conversation c;
    QueueWatch watch{c.platform};
    c.client = VexaOruClient::make(watch, c.container);
    std::vector<std::vector<std::string>> queues;
    c.transport->setLogger(std::make_shared<CallingLogger>([&] { queues.push_back(watch.running()); }));

    c.subscribe("scores", "s-1");
    c.service.data({entry("s-1")});
    c.platform.clock.advance(300.0);

    EXPECT_EQ(queues, (std::vector<std::vector<std::string>>{{"vexaint"}, {"vexaint"}}));
}

} // namespace
} // namespace vexa::testing
