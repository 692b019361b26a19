#include "ServiceClient.hpp"
#include <host/broker/MemoryBroker.hpp>

#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

/// Keeps what a broker tells a subscriber.
class Receiver final : public BrokerReceiver {
public:
    void subscribed() override { calls.emplace_back("subscribed"); }
    void refused(ServiceError reason) override { calls.push_back("refused " + reason.error); }
    void received(std::vector<Delivery> deliveries) override
    {
        std::string numbers = "received";
        for (const Delivery& each : deliveries) {
            numbers += each.isReplayed ? " r" : " ";
            numbers += boost::json::serialize(each.payload->at("number"));
            times.push_back(each.payload->at("updatedAt").as_double());
        }
        calls.push_back(numbers);
    }

    std::vector<std::string> calls;
    std::vector<double> times;
};
using Calls = std::vector<std::string>;

struct BrokerUnderTest {
    explicit BrokerUnderTest(const MemoryBrokerLimits& limits = {}, std::uint64_t seed = testing::defaultSeed())
        : platform{seed}, broker{MemoryBroker::make(limits, platform)}
    {}

    void publish(const TopicKey& topic, std::vector<Dictionary> payloads)
    {
        broker->publish(topic, std::move(payloads), {});
    }

    std::int64_t subscribe(const TopicKey& topic, double since, const std::shared_ptr<Receiver>& subscriber) const
    {
        return broker->subscribe(topic, since, subscriber);
    }

    /// What a subscriber who comes now is told.
    Calls toldTo(const TopicKey& topic, double since)
    {
        const auto newcomer = std::make_shared<Receiver>();
        broker->cancel(subscribe(topic, since, newcomer));
        platform.runUntilIdle();
        return newcomer->calls;
    }

    VirtualPlatform platform;
    std::shared_ptr<MemoryBroker> broker;
    const TopicKey scores{"scores"};
    const std::shared_ptr<Receiver> receiver = std::make_shared<Receiver>();
};

TEST(MemoryBroker, HandsAPublicationToItsSubscribersInOnePiece)
{
    BrokerUnderTest t;
    t.subscribe(t.scores, 0, t.receiver);
    const auto other = std::make_shared<Receiver>();
    t.subscribe(TopicKey{"scores", Value(1)}, 0, other);

    t.publish(t.scores, {numbered(1), numbered(2)});
    t.publish(t.scores, {numbered(3)});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->calls, (Calls{"subscribed", "received 1 2", "received 3"}));
    EXPECT_EQ(other->calls, Calls{"subscribed"});
}

TEST(MemoryBroker, RunsNothingInsideItsCalls)
{
    BrokerUnderTest t;
    bool isComplete = false;

    t.subscribe(t.scores, 0, t.receiver);
    t.broker->publish(t.scores, {numbered(1)}, [&isComplete](const PublishResult&) { isComplete = true; });

    EXPECT_EQ(t.receiver->calls, Calls{});
    EXPECT_FALSE(isComplete);
}

TEST(MemoryBroker, TellsThePublisherHowManyItTook)
{
    BrokerUnderTest t;
    std::vector<std::size_t> accepted;
    const auto note = [&accepted](const PublishResult& result) {
        EXPECT_FALSE(result.error);
        accepted.push_back(result.accepted);
    };

    t.broker->publish(t.scores, {numbered(1), numbered(2)}, note);
    t.broker->publish(t.scores, {}, note);
    t.platform.runUntilIdle();

    EXPECT_EQ(accepted, (std::vector<std::size_t>{2, 0}));
}

TEST(MemoryBroker, ReplaysWhatIsLaterThanATime)
{
    BrokerUnderTest t;
    t.subscribe(t.scores, 0, t.receiver);
    t.publish(t.scores, {numbered(1), numbered(2), numbered(3)});
    t.platform.runUntilIdle();
    const auto& times = t.receiver->times;

    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r1 r2 r3"}));
    EXPECT_EQ(t.toldTo(t.scores, -5), (Calls{"subscribed", "received r1 r2 r3"}));
    EXPECT_EQ(t.toldTo(t.scores, times[0]), (Calls{"subscribed", "received r2 r3"}));
    EXPECT_EQ(t.toldTo(t.scores, times[1]), (Calls{"subscribed", "received r3"}));
    EXPECT_EQ(t.toldTo(t.scores, times[2]), Calls{"subscribed"});
    EXPECT_EQ(t.toldTo(t.scores, times[2] + 1000), Calls{"subscribed"});
}

TEST(MemoryBroker, LeavesNeitherGapNorRepetitionBetweenReplayAndLife)
{
    for (const std::uint64_t seed : seeds(50)) {
        SCOPED_TRACE(replayHint(seed));
        BrokerUnderTest t{{}, seed};
        const SerialQueueHandle publisher = t.platform.makeQueue("publisher");
        const SerialQueueHandle subscriber = t.platform.makeQueue("subscriber");
        for (int number = 1; number <= 20; ++number) {
            publisher->async([&t, number] { t.publish(t.scores, {numbered(number)}); });
        }
        subscriber->async([&t] { t.subscribe(t.scores, 0, t.receiver); });
        t.platform.runUntilIdle();

        std::string digits;
        for (std::size_t call = 1; call < t.receiver->calls.size(); ++call) {
            for (const char character : t.receiver->calls[call].substr(std::string{"received"}.size())) {
                digits += character == 'r' ? "" : std::string{character};
            }
        }
        EXPECT_EQ(t.receiver->calls.at(0), "subscribed");
        EXPECT_EQ(digits, " 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20");
    }
}

TEST(MemoryBroker, StampsTheTimeOfPublicationInMicroseconds)
{
    BrokerUnderTest t;
    t.subscribe(t.scores, 0, t.receiver);
    t.platform.clock.set(1700000123.25);

    t.publish(t.scores, {{{"number", 1}, {"updatedAt", 5}}});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->times, std::vector<double>{1700000123.25});
}

TEST(MemoryBroker, StampsRisingTimesWhateverTheClockDoes)
{
    BrokerUnderTest t;
    t.subscribe(t.scores, 0, t.receiver);
    for (const double jump : {0.0, 0.0, -3600.0, 0.0, 7200.0, -1e9, 0.0}) {
        t.platform.clock.jump(jump);
        t.publish(t.scores, {numbered(1), numbered(2), numbered(3)});
        t.platform.runUntilIdle();
    }

    const auto& times = t.receiver->times;
    ASSERT_EQ(times.size(), 21U);
    for (std::size_t place = 1; place < times.size(); ++place) {
        EXPECT_GT(times[place], times[place - 1]) << place;
    }
    EXPECT_EQ(t.toldTo(t.scores, times[19]), (Calls{"subscribed", "received r3"}));
}

TEST(MemoryBroker, KeepsTheTimesOfTopicsApart)
{
    BrokerUnderTest t;
    const TopicKey other{"weather"};
    t.publish(t.scores, {numbered(1), numbered(2)});
    t.subscribe(other, 0, t.receiver);
    t.publish(other, {numbered(1)});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->times, std::vector<double>{testing::VirtualClock::start});
}

TEST(MemoryBroker, KeepsTheNewestMessages)
{
    BrokerUnderTest t{{.messagesPerTopic = 3}};
    t.publish(t.scores, {numbered(1), numbered(2)});
    t.publish(t.scores, {numbered(3), numbered(4)});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r2 r3 r4"}));
}

TEST(MemoryBroker, DeliversWithoutKeepingAnything)
{
    BrokerUnderTest t{{.messagesPerTopic = 0}};
    t.subscribe(t.scores, 0, t.receiver);
    t.publish(t.scores, {numbered(1), numbered(2)});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->calls, (Calls{"subscribed", "received 1 2"}));
    EXPECT_EQ(t.toldTo(t.scores, 0), Calls{"subscribed"});
}

TEST(MemoryBroker, ForgetsWhatIsOlderThanItsLimit)
{
    BrokerUnderTest t{{.maximumAge = 60}};
    t.publish(t.scores, {numbered(1)});
    t.platform.clock.advance(40);
    t.publish(t.scores, {numbered(2)});
    t.platform.clock.advance(20);
    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r1 r2"}));

    t.platform.clock.advance(1);
    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r2"}));

    t.platform.clock.advance(100);
    EXPECT_EQ(t.toldTo(t.scores, 0), Calls{"subscribed"});
}

TEST(MemoryBroker, MeasuresAgeOnTheClockThatNeverJumps)
{
    BrokerUnderTest t{{.maximumAge = 60}};
    t.publish(t.scores, {numbered(1)});
    t.platform.runUntilIdle();
    t.platform.clock.jump(1e6);

    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r1"}));
}

TEST(MemoryBroker, LetsTimesRiseAlsoWhenItHasForgottenEverything)
{
    BrokerUnderTest t{{.maximumAge = 60}};
    t.subscribe(t.scores, 0, t.receiver);
    t.publish(t.scores, {numbered(1)});
    t.platform.clock.advance(100);
    t.platform.clock.jump(-5000);
    t.publish(t.scores, {numbered(2)});
    t.platform.runUntilIdle();

    ASSERT_EQ(t.receiver->times.size(), 2U);
    EXPECT_GT(t.receiver->times[1], t.receiver->times[0]);
}

TEST(MemoryBroker, ReplaysAnEndedTopicWithItsEnd)
{
    BrokerUnderTest t;
    t.publish(t.scores, {numbered(1)});
    t.broker->end(t.scores, numbered(2), {});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r1 r2"}));
}

TEST(MemoryBroker, MarksTheLastMessageOfATopic)
{
    BrokerUnderTest t;
    Message last;
    struct Keeper final : BrokerReceiver {
        explicit Keeper(Message& kept) : message{kept} {}
        void subscribed() override {}
        void refused(ServiceError) override {}
        void received(std::vector<Delivery> deliveries) override { message = deliveries.back().payload; }
        Message& message;
    };
    t.broker->subscribe(t.scores, 0, std::make_shared<Keeper>(last));

    t.broker->end(t.scores, {{"number", 1}, {"isTerminating", false}}, {});
    t.platform.runUntilIdle();

    ASSERT_NE(last, nullptr);
    EXPECT_EQ(last->at("isTerminating"), true);
    EXPECT_EQ(last->at("number"), 1);
}

TEST(MemoryBroker, ReplaysThePresentLifeOfATopicToNewcomers)
{
    BrokerUnderTest t;
    t.subscribe(t.scores, 0, t.receiver);
    t.publish(t.scores, {numbered(1)});
    t.broker->end(t.scores, numbered(2), {});
    t.publish(t.scores, {numbered(3)});
    t.platform.runUntilIdle();
    const double first = t.receiver->times.at(0);

    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r3"}));
    EXPECT_EQ(t.toldTo(t.scores, first), (Calls{"subscribed", "received r2 r3"}))
        << "who has seen the former life must hear of its end";

    t.broker->end(t.scores, numbered(4), {});
    t.platform.runUntilIdle();
    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r3 r4"}));
}

TEST(MemoryBroker, GoesOnDeliveringWhenATopicOpensAgain)
{
    BrokerUnderTest t;
    t.subscribe(t.scores, 0, t.receiver);
    t.broker->end(t.scores, numbered(1), {});
    t.publish(t.scores, {numbered(2)});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->calls, (Calls{"subscribed", "received 1", "received 2"}));
}

TEST(MemoryBroker, DropsACancelledReceiver)
{
    BrokerUnderTest t;
    auto receiver = std::make_shared<Receiver>();
    const std::weak_ptr<Receiver> watch = receiver;
    const auto subscription = t.subscribe(t.scores, 0, receiver);
    receiver.reset();
    t.platform.runUntilIdle();
    EXPECT_FALSE(watch.expired());

    t.broker->cancel(subscription);
    t.broker->cancel(subscription);
    t.broker->cancel(4711);
    t.publish(t.scores, {numbered(1)});
    t.platform.runUntilIdle();

    EXPECT_TRUE(watch.expired());
}

TEST(MemoryBroker, RefusesTopicsThatItHasNoRoomFor)
{
    BrokerUnderTest t{{.topics = 1}};
    t.publish(t.scores, {numbered(1)});
    std::vector<std::string> errors;
    const auto note = [&errors](const PublishResult& result) {
        EXPECT_EQ(result.accepted, 0U);
        errors.push_back(result.error ? result.error->error : "none");
    };

    t.subscribe(TopicKey{"weather"}, 0, t.receiver);
    t.broker->publish(TopicKey{"traffic"}, {numbered(1)}, note);
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->calls, Calls{"refused TooManyTopics"});
    EXPECT_EQ(errors, std::vector<std::string>{"TooManyTopics"});
    EXPECT_EQ(t.toldTo(t.scores, 0), (Calls{"subscribed", "received r1"}));
}

TEST(MemoryBroker, GoesOnWhenAReceiverOrACompletionThrows)
{
    struct Thrower final : BrokerReceiver {
        void subscribed() override {}
        void refused(ServiceError) override {}
        void received(std::vector<Delivery>) override { throw std::runtime_error{"full"}; }
    };
    BrokerUnderTest t;
    t.broker->subscribe(t.scores, 0, std::make_shared<Thrower>());
    t.subscribe(t.scores, 0, t.receiver);

    t.broker->publish(t.scores, {numbered(1)}, [](const PublishResult&) { throw std::runtime_error{"late"}; });
    t.publish(t.scores, {numbered(2)});
    t.platform.runUntilIdle();

    EXPECT_EQ(t.receiver->calls, (Calls{"subscribed", "received 1", "received 2"}));
    EXPECT_EQ(t.platform.takeLogLines(), (std::vector<std::string>{"VEXA: a receiver of the broker threw: full",
                                                                   "VEXA: the completion of a publication threw: late",
                                                                   "VEXA: a receiver of the broker threw: full"}));
}

} // namespace
} // namespace vexa::host
