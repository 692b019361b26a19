#include "BrokersUnderTest.hpp"
#include "CollectingReceiver.hpp"
#include "PublishCalls.hpp"
#include <host/broker/nats/NatsBroker.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace vexa::host {
namespace {

const TopicKey topic{"scores"};

/// How many times a member of the cluster is lost: VEXA_NATS_LOSSES in the environment, or once.
std::size_t losses()
{
    constexpr std::size_t few = 1;
    const char* const text = std::getenv("VEXA_NATS_LOSSES"); // NOLINT(concurrency-mt-unsafe): no thread writes it
    return text == nullptr ? few : std::max<std::size_t>(1, std::strtoul(text, nullptr, 10));
}

/// Publishes numbers as fast as they are stored, a bounded number ahead, until it is stopped.
class NumberPublisher {
public:
    explicit NumberPublisher(Broker& broker, TopicKey key, std::int64_t first)
        : broker_{broker}, key_{std::move(key)}, next_{first}, thread_{[this] { run(); }}
    {}

    ~NumberPublisher() { stop(); }
    NumberPublisher(const NumberPublisher&) = delete;
    NumberPublisher& operator=(const NumberPublisher&) = delete;

    void stop()
    {
        isStopped_ = true;
        if (thread_.joinable()) {
            thread_.join();
        }
        static_cast<void>(eventually([this] { return underWay_ == 0; }));
    }

    [[nodiscard]] std::vector<std::int64_t> accepted() const
    {
        const std::lock_guard lock{mutex_};
        return accepted_;
    }

private:
    void run()
    {
        constexpr int mostUnderWay = 200;
        while (!isStopped_) {
            if (underWay_ >= mostUnderWay) {
                std::this_thread::sleep_for(std::chrono::milliseconds{1});
                continue;
            }
            ++underWay_;
            const std::int64_t number = next_++;
            broker_.publish(key_, numberedFrom(number, 1), [this, number](const PublishResult& result) {
                if (result.accepted == 1) {
                    const std::lock_guard lock{mutex_};
                    accepted_.push_back(number);
                }
                --underWay_;
            });
        }
    }

    Broker& broker_;
    const TopicKey key_;
    std::int64_t next_;
    std::atomic<bool> isStopped_{false};
    std::atomic<int> underWay_{0};
    mutable std::mutex mutex_;
    std::vector<std::int64_t> accepted_;
    std::thread thread_;
};

class Cluster : public ::testing::Test {
protected:
    Cluster()
    {
        platform.setLogSink([](std::string_view /*line*/) {});
        options = optionsOf(cluster.server(0));
        options.servers = cluster.addresses();
        options.replicas = 3;
        options.retention.recordsPerTopic = 1'000'000;
    }

    /// Waits until so many more of a publisher's numbers are accepted.
    [[nodiscard]] static bool awaitMore(const NumberPublisher& publisher, std::size_t count)
    {
        const std::size_t before = publisher.accepted().size();
        return eventually([&] { return publisher.accepted().size() >= before + count; });
    }

    /// Started by the first test, and whole again at the end of each.
    [[nodiscard]] static NatsCluster& sharedCluster()
    {
        static NatsCluster shared;
        return shared;
    }

    SystemPlatform platform{2};
    NatsCluster& cluster = sharedCluster();
    NatsBrokerOptions options;
};

TEST_F(Cluster, losesNothingThatItAcceptedWhenMembersAreKilled)
{
    constexpr std::size_t some = 200;
    const std::vector<std::shared_ptr<NatsBroker>> brokers{NatsBroker::make(options, platform),
                                                           NatsBroker::make(options, platform)};
    std::vector<std::shared_ptr<CollectingReceiver>> receivers;
    for (std::size_t i = 0; i < 6; ++i) {
        receivers.push_back(std::make_shared<CollectingReceiver>());
        brokers[i % 2]->subscribe(topic, 0, receivers.back());
        ASSERT_TRUE(receivers.back()->awaitSubscribed());
    }
    constexpr std::int64_t firstOfSecond = 1'000'000'000;
    NumberPublisher first{*brokers[0], topic, 0};
    NumberPublisher second{*brokers[1], topic, firstOfSecond};
    for (std::size_t loss = 0; loss < losses(); ++loss) {
        ASSERT_TRUE(awaitMore(first, some));
        ASSERT_TRUE(awaitMore(second, some));
        // The first to go is the one whose loss the others notice most.
        const auto leader = cluster.leaderOf(options.stream);
        NatsServer& lost = cluster.server(loss == 0 ? leader.value_or(0) : loss % NatsCluster::size);
        lost.kill();
        ASSERT_TRUE(awaitMore(first, some));
        ASSERT_TRUE(awaitMore(second, some));
        lost.start();
        ASSERT_TRUE(eventually([&] { return cluster.isCurrent(options.stream); }));
    }
    first.stop();
    second.stop();

    auto accepted = first.accepted();
    const auto more = second.accepted();
    accepted.insert(accepted.end(), more.begin(), more.end());
    std::sort(accepted.begin(), accepted.end());
    // Its delivery shows that everything before it has been delivered as well.
    constexpr std::int64_t last = -100;
    ASSERT_EQ(publishAndWait(*brokers[0], topic, numberedFrom(last, 1)).accepted, 1U);
    for (const auto& receiver : receivers) {
        ASSERT_TRUE(eventually([&] { return receiver->isNewest(last); }));
    }
    const auto reference = receivers.front()->deliveries();
    const auto times = timesOf(reference);
    EXPECT_TRUE(isRising(times));
    auto numbers = numbersOf(reference);
    numbers.pop_back();
    for (const auto& receiver : receivers) {
        EXPECT_EQ(numbersOf(receiver->deliveries()), numbersOf(reference));
        EXPECT_EQ(timesOf(receiver->deliveries()), times);
    }
    for (const std::int64_t start : {std::int64_t{0}, firstOfSecond}) {
        std::vector<std::int64_t> ofOne;
        std::copy_if(numbers.begin(), numbers.end(), std::back_inserter(ofOne),
                     [&](std::int64_t number) { return (number >= firstOfSecond) == (start == firstOfSecond); });
        EXPECT_TRUE(std::is_sorted(ofOne.begin(), ofOne.end()));
    }
    std::sort(numbers.begin(), numbers.end());
    EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end());
    EXPECT_TRUE(std::includes(numbers.begin(), numbers.end(), accepted.begin(), accepted.end()));

    const auto newcomer = std::make_shared<CollectingReceiver>();
    const auto fresh = NatsBroker::make(options, platform);
    fresh->subscribe(topic, 0, newcomer);
    const auto replayed = newcomer->await(reference.size());
    EXPECT_EQ(numbersOf(replayed), numbersOf(reference));
    EXPECT_EQ(timesOf(replayed), times);
}

TEST_F(Cluster, withoutAMajorityAcceptsNothingAndGoesOnWhenItIsBack)
{
    options.publishTimeLimit = 2;
    options.requestTimeLimit = 1;
    const auto broker = NatsBroker::make(options, platform);
    const auto receiver = std::make_shared<CollectingReceiver>();
    broker->subscribe(topic, 0, receiver);
    const auto publishEventually = [&](std::int64_t number) {
        return eventually([&] { return publishAndWait(*broker, topic, numberedFrom(number, 1)).accepted == 1; });
    };
    ASSERT_TRUE(publishEventually(1));
    ASSERT_EQ(numbersOf(receiver->await(1)), numbersFrom(1, 1));
    cluster.server(0).kill();
    cluster.server(1).kill();
    const PublishResult result = publishAndWait(*broker, topic, numberedFrom(2, 1));
    EXPECT_EQ(result.accepted, 0U);
    EXPECT_TRUE(result.error.has_value());
    EXPECT_TRUE(eventually([&] { return !broker->status().isHealthy; }));
    cluster.server(0).start();
    cluster.server(1).start();
    ASSERT_TRUE(publishEventually(3));
    ASSERT_TRUE(eventually([&] { return receiver->isNewest(3); }));
    auto numbers = numbersOf(receiver->deliveries());
    std::erase(numbers, 2);
    EXPECT_EQ(numbers.front(), 1);
    EXPECT_EQ(numbers.back(), 3);
    EXPECT_TRUE(eventually([&] { return broker->status().isHealthy; }));
}

} // namespace
} // namespace vexa::host
