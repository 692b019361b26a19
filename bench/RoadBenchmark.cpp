// The road of a message, from the transport to the listener or through a stream, with its diagnostic report. Each
// message is parsed from its text as a transport would; what parsing alone costs stands beside it.

#include "BenchTransport.hpp"
#include "LogFile.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <benchmark/benchmark.h>

#include <semaphore>
#include <thread>

namespace vexa::bench {

namespace {

/// How many messages may be on the road at once.
constexpr std::ptrdiff_t window = 4096;

/// A data message of `count` entries of about 200 bytes each, all of the subscription s-0.
std::string batchText(std::int64_t count)
{
    std::string text = R"({"category":"vexa","type":"data","sentAt":1700000000.25,"messages":[)";
    for (std::int64_t i = 0; i < count; ++i) {
        text += i > 0 ? "," : "";
        text += R"({"subscriptionId":"s-0","payload":{"updatedAt":)" + std::to_string(1700000000 + i) +
                R"(,"player":"a-name-of-some-length","score":123456,"position":[12.5,88.25,3.0],)"
                R"("inventory":{"gold":12,"wood":7},"text":"a line of chat as people write it"}})";
    }
    return text + "]}";
}

/// Counts what reaches it and makes room on the road.
class CountingListener final : public VexaSubscriptionListener {
public:
    explicit CountingListener(std::counting_semaphore<>& room) : room_{room} {}

    void messageReceived(const Message&, bool) override
    {
        received.fetch_add(1, std::memory_order_relaxed);
        room_.release();
    }

    std::atomic<std::uint64_t> received{0};

private:
    std::counting_semaphore<>& room_;
};

/// The library on the real engine, over a transport that confirms everything.
struct Road {
    Road() { container.oruClient(transport); }

    void waitUntilConfirmed() const
    {
        while (manager->state().listenersById.empty() || transport->confirmed() == 0) {
            std::this_thread::yield();
        }
    }

    Dependencies container;
    SystemPlatform& platform = SystemPlatform::shared();
    LogFile log{platform};
    std::shared_ptr<BenchTransport> transport = std::make_shared<BenchTransport>();
    std::shared_ptr<VexaOruSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, container);
    std::counting_semaphore<> room{window};
};

/// Roads are never torn down: what they scheduled for minutes later still refers to them.
Road& makeRoad()
{
    return *new Road;
}

void countMessages(benchmark::State& state)
{
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.SetLabel("items are messages");
}

void send(Road& road, const std::string& text, std::int64_t messages)
{
    for (std::int64_t i = 0; i < messages; ++i) {
        road.room.acquire();
    }
    road.transport->deliver(Frame::parse(text));
}

void parseAlone(benchmark::State& state)
{
    const std::string text = batchText(state.range(0));
    for (auto _ : state) {
        benchmark::DoNotOptimize(Frame::parse(text));
    }
    countMessages(state);
}

void transportToListener(benchmark::State& state)
{
    Road& road = makeRoad();
    const auto listener = std::make_shared<CountingListener>(road.room);
    road.manager->addMessageListener("scores", std::nullopt, 0, listener);
    road.waitUntilConfirmed();
    const std::string text = batchText(state.range(0));

    std::uint64_t sent = 0;
    for (auto _ : state) {
        send(road, text, state.range(0));
        sent += static_cast<std::uint64_t>(state.range(0));
    }
    while (listener->received.load() < sent) {
        std::this_thread::yield();
    }
    countMessages(state);
}

void transportToStream(benchmark::State& state)
{
    Road& road = makeRoad();
    auto stream = VexaSubscriptionStream::createStream("scores", std::nullopt, std::nullopt, road.manager);
    road.waitUntilConfirmed();
    const std::string text = batchText(state.range(0));
    std::atomic<std::uint64_t> received{0};
    std::thread consumer{[&] {
        for (const auto& element : stream) {
            benchmark::DoNotOptimize(element.message.get());
            received.fetch_add(1, std::memory_order_relaxed);
            road.room.release();
        }
    }};

    std::uint64_t sent = 0;
    for (auto _ : state) {
        send(road, text, state.range(0));
        sent += static_cast<std::uint64_t>(state.range(0));
    }
    while (received.load() < sent) {
        std::this_thread::yield();
    }
    stream.cancel();
    consumer.join();
    countMessages(state);
}

void configure(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(1)->Arg(32)->ArgName("batch")->UseRealTime()->MeasureProcessCPUTime()->MinTime(0.5);
}

BENCHMARK(parseAlone)->Apply(configure);
BENCHMARK(transportToListener)->Apply(configure);
BENCHMARK(transportToStream)->Apply(configure);

} // namespace

} // namespace vexa::bench
