#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

constexpr int smallBuffer = 4'096;

/// More than the operating system buffers between a server and a client that does not read.
constexpr std::size_t fillers = 24;

Dictionary filler()
{
    return {{"number", 0}, {"text", std::string(1'000'000, 'x')}};
}

TEST(Flow, AClientThatNeverReadsIsClosedAndCounted)
{
    VexaServerOptions options = loopback();
    options.limits.queueBytes = 1'000'000;
    options.timeLimits.closing = 0.05;
    ServerUnderTest under{options};
    TestClient client{under, smallBuffer};
    static_cast<void>(client.subscribe("scores"));
    for (std::size_t number = 0; number < fillers; ++number) {
        under.service->publish("scores", std::nullopt, {filler()});
    }
    await([&under] { return under.closed(CloseReason::slow) == 1; });
    await([&under] { return under.service->figures().sessions == 0; });
    await([&under] { return under.server.figures().connections == 0; });
}

TEST(Flow, ASlowClientLosesNothingWhenItComesBack)
{
    VexaServerOptions options = loopback();
    options.limits.queueBytes = 500'000;
    ServerUnderTest under{options};
    constexpr int count = 400;
    double seen = 0;
    std::vector<int> numbers;
    int connections = 0;
    unsigned code = 0;
    while (numbers.size() < count) {
        ASSERT_LT(++connections, count) << "every connection brings the client on";
        TestClient client{under, smallBuffer};
        static_cast<void>(client.subscribe("scores", seen));
        if (connections == 1) {
            for (int number = 1; number <= count; ++number) {
                under.service->publish("scores", std::nullopt,
                                       {Dictionary{{"number", number}, {"text", std::string(50'000, 'x')}}});
            }
            await([&under] { return under.service->figures().sessions == 0; });
        }
        while (const auto text = client.receiveText()) {
            const Dictionary message = json(*text);
            for (const Value& each : message.at("messages").as_array()) {
                numbers.push_back(each.at("payload").at("number").to_number<int>());
                seen = each.at("payload").at("updatedAt").to_number<double>();
            }
            if (numbers.size() == count) {
                break;
            }
        }
        if (numbers.size() < count) {
            code = client.stream().reason().code;
            EXPECT_EQ(code, 1013U);
        }
    }
    EXPECT_EQ(numbers, numbersFrom(1, count));
    EXPECT_EQ(code, 1013U) << "the client was too slow once at least";
    await([&under, connections] { return under.closed(CloseReason::slow) + 1 >= static_cast<unsigned>(connections); });
}

TEST(Flow, MessagesThatWaitForAClientShareFrames)
{
    VexaServerOptions options = loopback();
    options.limits.queueBytes = 100'000'000;
    ServerUnderTest under{options};
    TestClient client{under, smallBuffer};
    static_cast<void>(client.subscribe("scores"));
    for (std::size_t number = 0; number < fillers; ++number) {
        under.service->publish("scores", std::nullopt, {filler()});
    }
    constexpr int count = 2'000;
    for (int number = 1; number <= count; ++number) {
        under.publish(number);
    }
    await([&under] { return under.service->figures().delivered == fillers + count; });

    std::vector<int> numbers;
    std::size_t frames = 0;
    while (numbers.size() < fillers + count) {
        ++frames;
        for (const Value& each : client.receiveEntries()) {
            numbers.push_back(each.at("payload").at("number").to_number<int>());
        }
    }
    numbers.erase(numbers.begin(), numbers.begin() + fillers);
    EXPECT_EQ(numbers, numbersFrom(1, count));
    EXPECT_LT(frames, fillers + 20);
}

TEST(Flow, AResponseKeepsItsPlaceAmongTheData)
{
    VexaServerOptions options = loopback();
    options.limits.queueBytes = 100'000'000;
    ServerUnderTest under{options};
    TestClient client{under, smallBuffer};
    static_cast<void>(client.subscribe("scores"));
    for (std::size_t number = 0; number < fillers; ++number) {
        under.service->publish("scores", std::nullopt, {filler()});
    }
    await([&under] { return under.service->figures().delivered == fillers; });
    under.service->publish("weather", std::nullopt, {numbered(7)});
    client.send(testing::subscribeRequest("O-002", {testing::topic("weather")}));
    await([&under] { return under.service->figures().delivered == fillers + 1; });
    under.publish(8);

    EXPECT_EQ(client.receiveNumbers(fillers), std::vector<int>(fillers, 0));
    EXPECT_EQ(client.receive().at("operationId"), "O-002");
    EXPECT_EQ(client.receiveNumbers(2), (std::vector<int>{7, 8}));
}

/// Takes publications and answers them when it is told to.
class HoldingBroker final : public Broker {
public:
    void publish(TopicKey /*topic*/, std::vector<Dictionary> payloads, PublishCompletion completion) override
    {
        const std::lock_guard lock{mutex_};
        if (isReleased_) {
            completion({payloads.size(), std::nullopt});
        } else {
            held_.push_back(std::move(completion));
        }
    }
    std::int64_t subscribe(TopicKey /*topic*/, double /*since*/, std::shared_ptr<BrokerReceiver> /*receiver*/) override
    {
        return 1;
    }
    void cancel(std::int64_t /*subscription*/) override {}

    void release()
    {
        const std::lock_guard lock{mutex_};
        isReleased_ = true;
        for (const auto& each : std::exchange(held_, {})) {
            each({1, std::nullopt});
        }
    }

private:
    std::mutex mutex_;
    bool isReleased_ = false;
    std::vector<PublishCompletion> held_;
};

TEST(Flow, APublisherThatIsAheadOfTheServiceIsNotReadFrom)
{
    VexaServerOptions options = loopback();
    options.limits.unhandledBytes = 16'000;
    const auto broker = std::make_shared<HoldingBroker>();
    ServerUnderTest under{options, {}, broker};
    TestClient client{under};
    constexpr std::size_t count = 100;
    for (std::size_t number = 0; number < count; ++number) {
        client.send(publishRequest("P-1", {Dictionary{{"number", 1}, {"text", std::string(1'000, 'x')}}}));
    }
    await([&under] { return under.server.figures().bytesReceived >= 16'000; });
    // Its only thread has had every chance to read on by the time it has answered.
    HttpConnection http{under.port()};
    for (int time = 0; time < 5; ++time) {
        EXPECT_EQ(http.get("/metrics").result_int(), 200U);
    }
    EXPECT_LT(under.server.figures().bytesReceived, 18'000U);

    broker->release();
    for (std::size_t number = 0; number < count; ++number) {
        EXPECT_EQ(client.receive().at("accepted"), 1);
    }
}

TEST(Flow, ManyPublishersAndSubscribersGetEverythingInOrder)
{
    VexaServerOptions options = loopback();
    options.threads = 2;
    ServerUnderTest under{options};
    TestClient subscriber{under};
    static_cast<void>(subscriber.subscribe("scores"));
    constexpr int publishers = 4;
    constexpr int count = 500;
    std::vector<std::thread> threads;
    for (int publisher = 0; publisher < publishers; ++publisher) {
        threads.emplace_back([&under, publisher] {
            TestClient client{under};
            for (int number = 0; number < count; ++number) {
                client.send(publishRequest("P-1", {numbered(publisher * count + number)}));
            }
            for (int number = 0; number < count; ++number) {
                EXPECT_EQ(client.receive().at("accepted"), 1);
            }
        });
    }
    std::vector<std::vector<int>> byPublisher(publishers);
    for (const int number : subscriber.receiveNumbers(publishers * count)) {
        byPublisher.at(static_cast<std::size_t>(number / count)).push_back(number);
    }
    for (std::thread& each : threads) {
        each.join();
    }
    for (int publisher = 0; publisher < publishers; ++publisher) {
        EXPECT_EQ(byPublisher[static_cast<std::size_t>(publisher)],
                  numbersFrom(publisher * count, publisher * count + count - 1));
    }
}

} // namespace
} // namespace vexa::host
