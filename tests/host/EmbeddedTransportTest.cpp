#include "ServiceClient.hpp"
#include <host/broker/MemoryBroker.hpp>
#include <host/embedded/EmbeddedTransport.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Journal = std::vector<std::string>;

/// Writes down, in order, what a transport tells its client.
class Follower final : public OruClientMessageListener, public OruClientConnectionListener {
public:
    void handleMessage(Message message) override
    {
        journal.emplace_back(message->at("type").as_string());
        messages.push_back(std::move(message));
    }
    void messageListenerRemoved(std::int64_t) override { journal.emplace_back("removed"); }
    void connectionOpened() override { journal.emplace_back("opened"); }
    void connectionClosed() override { journal.emplace_back("closed"); }

    Journal journal;
    std::vector<Message> messages;
};

struct TransportUnderTest {
    explicit TransportUnderTest(EmbeddedTransportOptions options = {}, std::uint64_t seed = testing::defaultSeed())
        : platform{seed},
          service{std::make_shared<VexaService>(MemoryBroker::make({}, platform), ServiceLimits{}, platform)},
          transport{EmbeddedTransport::make(service, std::move(options), platform)}
    {
        transport->addCategoryListener("vexa", follower);
        transport->addConnectionListener(follower);
    }

    void openNow()
    {
        transport->open();
        platform.runUntilIdle();
    }
    void closeNow()
    {
        transport->close();
        platform.runUntilIdle();
    }
    void subscribe(const char* operation = "O-001") { transport->send(subscribeRequest(operation, {topic("scores")})); }
    void publish(int number) { service->publish("scores", std::nullopt, {numbered(number)}); }

    /// The numbers that have arrived, replayed ones negative.
    std::vector<int> numbers()
    {
        platform.runUntilIdle();
        Messages all;
        for (const Message& each : follower->messages) {
            all.push_back(*each);
        }
        return numbersIn(all);
    }

    VirtualPlatform platform;
    std::shared_ptr<VexaService> service;
    std::shared_ptr<EmbeddedTransport> transport;
    std::shared_ptr<Follower> follower = std::make_shared<Follower>();
};

const Dictionary echo{{"category", "zltMsg"}, {"type", "sdk-echo"}};

TEST(EmbeddedTransport, IsClosedUntilItIsOpened)
{
    TransportUnderTest t;
    EXPECT_FALSE(t.transport->isOpen());

    t.openNow();
    EXPECT_TRUE(t.transport->isOpen());

    t.closeNow();
    EXPECT_FALSE(t.transport->isOpen());
    EXPECT_EQ(t.follower->journal, (Journal{"opened", "closed"}));
}

TEST(EmbeddedTransport, OpensAndClosesOnceForEachTime)
{
    TransportUnderTest t;
    t.closeNow();
    t.openNow();
    t.openNow();
    t.closeNow();
    t.closeNow();
    t.openNow();

    EXPECT_EQ(t.follower->journal, (Journal{"opened", "closed", "opened"}));
    EXPECT_EQ(t.transport->figures().openings, 2U);
}

TEST(EmbeddedTransport, IsOpenWhenItSaysSo)
{
    struct Asker final : OruClientConnectionListener {
        explicit Asker(OruClient& asked) : client{asked} {}
        void connectionOpened() override { answers.push_back(client.isOpen()); }
        void connectionClosed() override { answers.push_back(client.isOpen()); }
        OruClient& client;
        std::vector<bool> answers;
    };
    TransportUnderTest t;
    const auto asker = std::make_shared<Asker>(*t.transport);
    t.transport->addConnectionListener(asker);

    t.openNow();
    t.closeNow();

    EXPECT_EQ(asker->answers, (std::vector<bool>{true, false}));
}

TEST(EmbeddedTransport, CarriesMessagesBothWays)
{
    TransportUnderTest t;
    t.openNow();
    t.subscribe();
    t.platform.runUntilIdle();
    t.publish(1);

    EXPECT_EQ(t.numbers(), std::vector<int>{1});
    EXPECT_EQ(t.follower->journal, (Journal{"opened", "subscriptionResponse", "data"}));
    EXPECT_EQ(t.transport->figures().toService.passed, 1U);
    EXPECT_EQ(t.transport->figures().toClient.passed, 2U);
}

TEST(EmbeddedTransport, RunsNothingInsideItsCalls)
{
    TransportUnderTest t;

    t.transport->open();
    t.subscribe();
    t.transport->send(echo);

    EXPECT_EQ(t.follower->journal, Journal{});
    EXPECT_FALSE(t.transport->isOpen());
}

TEST(EmbeddedTransport, DeliversToTheListenersOfTheCategoryAlone)
{
    TransportUnderTest t;
    const auto other = std::make_shared<Follower>();
    const auto second = std::make_shared<Follower>();
    const std::int64_t first = t.transport->addCategoryListener("zltMsg", other);
    EXPECT_NE(t.transport->addCategoryListener("vexa", second), first);

    t.openNow();
    t.subscribe();
    t.platform.runUntilIdle();

    EXPECT_EQ(other->messages.size(), 0U);
    ASSERT_EQ(second->messages.size(), 1U);
    EXPECT_EQ(second->messages[0], t.follower->messages.at(0)) << "the same message, shared";
}

TEST(EmbeddedTransport, DeliversNothingOfAnEarlierConnectionAfterTheNextOneOpened)
{
    for (const std::uint64_t seed : seeds(100)) {
        SCOPED_TRACE(replayHint(seed));
        TransportUnderTest t{{}, seed};
        t.openNow();
        t.subscribe("O-001");
        t.platform.runUntilIdle();
        const std::string firstId{t.follower->messages.at(0)->at("topics").at(0).at("subscriptionId").as_string()};
        for (int number = 1; number <= 5; ++number) {
            t.publish(number);
        }
        t.transport->close();
        t.transport->open();
        t.subscribe("O-002");
        t.platform.runUntilIdle();

        bool hasOpenedAgain = false;
        std::size_t message = 0;
        for (std::size_t line = 1; line < t.follower->journal.size(); ++line) {
            if (t.follower->journal[line] == "opened") {
                hasOpenedAgain = true;
            } else if (t.follower->journal[line] == "data") {
                while (t.follower->messages.at(message)->at("type") != "data") {
                    ++message;
                }
                for (const Value& each : t.follower->messages[message]->at("messages").as_array()) {
                    EXPECT_EQ(each.at("subscriptionId") == firstId.c_str(), !hasOpenedAgain);
                }
                ++message;
            }
        }
        EXPECT_TRUE(hasOpenedAgain);
    }
}

TEST(EmbeddedTransport, OpensAgainWhenTheServiceClosesItsConnection)
{
    TransportUnderTest t;
    t.openNow();
    t.subscribe("O-001");
    t.publish(1);
    t.platform.runUntilIdle();

    t.subscribe("O-002");
    t.platform.runUntilIdle();

    EXPECT_EQ(t.follower->journal, (Journal{"opened", "subscriptionResponse", "data", "closed", "opened"}));
    EXPECT_TRUE(t.transport->isOpen());
    EXPECT_EQ(t.service->figures().sessions, 1U);
}

TEST(EmbeddedTransport, DropsRequestsWhileItIsClosed)
{
    TransportUnderTest t;
    t.subscribe();
    t.openNow();

    EXPECT_EQ(t.follower->journal, Journal{"opened"});
    EXPECT_EQ(t.transport->figures().toService.dropped, 1U);
}

TEST(EmbeddedTransport, KeepsTheNewestEchoesAndRecordsWhileItIsClosed)
{
    EmbeddedTransportOptions options;
    options.keptWhileClosed = 2;
    TransportUnderTest t{std::move(options)};

    t.transport->send(echo);
    t.transport->logger()->serverLog("vexa", numbered(1), 0);
    t.transport->logger()->serverLog("vexa", numbered(2), 0);
    t.platform.runUntilIdle();
    EXPECT_EQ(t.service->figures().serverLogRecords, 0U);
    t.openNow();

    EXPECT_EQ(t.service->figures().serverLogRecords, 2U);
    EXPECT_EQ(t.service->figures().echoes, 0U) << "it was the oldest of three";
    EXPECT_EQ(t.transport->figures().toService.dropped, 1U);
}

TEST(EmbeddedTransport, SendsWhatItKeptBeforeWhatTheOpeningBrings)
{
    struct Sender final : OruClientConnectionListener {
        explicit Sender(OruClient& used) : client{used} {}
        void connectionOpened() override { client.logger()->serverLog("vexa", numbered(2), 0); }
        void connectionClosed() override {}
        OruClient& client;
    };
    TransportUnderTest t;
    t.transport->addConnectionListener(std::make_shared<Sender>(*t.transport));
    t.transport->logger()->serverLog("vexa", numbered(1), 0);

    t.openNow();
    t.platform.runUntilIdle();

    const auto records = t.service->serverLogRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].blob, numbered(1));
    EXPECT_EQ(records[1].blob, numbered(2));
}

TEST(EmbeddedTransport, WritesItsConsoleLogWhereItIsTold)
{
    std::vector<std::string> lines;
    EmbeddedTransportOptions options;
    options.console = [&lines](std::string_view line) { lines.emplace_back(line); };
    TransportUnderTest t{std::move(options)};

    t.transport->logger()->consoleLog("VEXA: Retrying O-001");

    EXPECT_EQ(lines, std::vector<std::string>{"VEXA: Retrying O-001"});
}

TEST(EmbeddedTransport, ReportsTheVisibilityThatItIsTold)
{
    TransportUnderTest t;
    EXPECT_TRUE(t.transport->isVisible());

    t.transport->setVisible(false);
    EXPECT_FALSE(t.transport->isVisible());
}

TEST(EmbeddedTransport, LosesTheNextMessages)
{
    TransportUnderTest t;
    t.openNow();
    t.transport->lose(TrafficDirection::toService, loseNext(1));
    t.subscribe("O-001");
    t.subscribe("O-002");
    t.platform.runUntilIdle();
    t.transport->lose(TrafficDirection::toClient, loseNext(2));
    for (int number = 1; number <= 4; ++number) {
        t.publish(number);
    }

    EXPECT_EQ(t.numbers(), (std::vector<int>{3, 4}));
    EXPECT_EQ(t.follower->messages.at(0)->at("operationId"), "O-002");
    EXPECT_EQ(t.transport->figures().toService.lost, 1U);
    EXPECT_EQ(t.transport->figures().toClient.lost, 2U);
}

TEST(EmbeddedTransport, LosesAPartOfTheMessagesByASeed)
{
    constexpr std::size_t count = 10'000;
    const auto lost = [](double fraction, std::uint64_t seed) {
        LossRule rule = loseFraction(fraction, seed);
        std::vector<bool> losses;
        for (std::size_t n = 0; n < count; ++n) {
            losses.push_back(rule(Dictionary{}));
        }
        return losses;
    };
    const auto countOf = [](const std::vector<bool>& losses) { return std::count(losses.begin(), losses.end(), true); };

    EXPECT_EQ(countOf(lost(0, 1)), 0);
    EXPECT_EQ(countOf(lost(1, 1)), static_cast<std::ptrdiff_t>(count));
    EXPECT_NEAR(static_cast<double>(countOf(lost(0.3, 1))), 0.3 * count, 5 * std::sqrt(0.3 * 0.7 * count));
    EXPECT_EQ(lost(0.3, 7), lost(0.3, 7));
    EXPECT_NE(lost(0.3, 7), lost(0.3, 8));
}

TEST(EmbeddedTransport, LosesWhatARuleOfTheHostSays)
{
    TransportUnderTest t;
    t.openNow();
    t.transport->lose(TrafficDirection::toClient,
                      [](const Dictionary& message) { return message.at("type") == "subscriptionResponse"; });
    t.subscribe();
    t.platform.runUntilIdle();
    t.publish(1);
    EXPECT_EQ(t.numbers(), std::vector<int>{1});
    EXPECT_EQ(t.follower->journal, (Journal{"opened", "data"}));

    t.transport->lose(TrafficDirection::toClient, {});
    t.subscribe();
    t.platform.runUntilIdle();
    EXPECT_EQ(t.follower->journal, (Journal{"opened", "data", "subscriptionResponse"}));
}

TEST(EmbeddedTransport, CarriesMessagesThroughTheirText)
{
    EmbeddedTransportOptions options;
    options.throughText = true;
    TransportUnderTest t{std::move(options)};
    t.openNow();
    t.subscribe();
    t.platform.runUntilIdle();
    const Dictionary payload = json(R"({"number":1,"text":"\u0000\u00e9\"\\","list":[null,true,-1,1e-7]})");

    t.service->publish("scores", std::nullopt, {payload});
    t.platform.runUntilIdle();

    Dictionary arrived = t.follower->messages.at(1)->at("messages").at(0).at("payload").as_object();
    arrived.erase("updatedAt");
    EXPECT_EQ(arrived, payload);
}

TEST(EmbeddedTransport, DropsWhatHasNoText)
{
    EmbeddedTransportOptions options;
    options.throughText = true;
    TransportUnderTest t{std::move(options)};
    t.openNow();
    t.subscribe();
    t.platform.runUntilIdle();

    t.service->publish("scores", std::nullopt, {{{"number", 1}, {"value", std::nan("")}}});
    t.publish(2);

    EXPECT_EQ(t.numbers(), std::vector<int>{2});
    EXPECT_EQ(t.transport->figures().toClient.unreadable, 1U);
}

TEST(EmbeddedTransport, LeavesItsServiceWhenItIsDropped)
{
    TransportUnderTest t;
    t.openNow();
    t.subscribe();
    t.platform.runUntilIdle();
    const auto logger = t.transport->logger();
    const std::weak_ptr<EmbeddedTransport> watch = t.transport;
    t.publish(1);

    t.transport.reset();
    logger->serverLog("vexa", numbered(1), 0);
    t.platform.runUntilIdle();

    EXPECT_TRUE(watch.expired());
    EXPECT_EQ(t.follower->journal, (Journal{"opened", "subscriptionResponse"}));
    EXPECT_EQ(t.service->figures().sessions, 0U);
}

} // namespace
} // namespace vexa::host
