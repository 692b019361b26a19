// The road of a message, from the transport to the listener or through a stream, with its diagnostic report. Each
// message is parsed from its text as a transport would; what parsing alone costs stands beside it.

#include "BenchTransport.hpp"
#include "DataText.hpp"
#include "LogFile.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <benchmark/benchmark.h>

#include <semaphore>
#include <thread>
#include <vector>

namespace vexa::bench {

namespace {

/// How many messages may be on the road at once.
constexpr std::ptrdiff_t window = 4096;

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

/// Tells when as many messages have reached it as were announced.
class AwaitingListener final : public VexaSubscriptionListener {
public:
    void messageReceived(const Message&, bool) override
    {
        if (++received_ == due_.load(std::memory_order_relaxed)) {
            hasAll_.release();
        }
    }

    void announce(std::uint64_t count) { due_ += count; }
    void awaitAll() { hasAll_.acquire(); }

private:
    std::uint64_t received_ = 0; ///< on the queue of the callbacks
    std::atomic<std::uint64_t> due_{0};
    std::binary_semaphore hasAll_{0};
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
    const std::string text = DataText{static_cast<std::size_t>(state.range(0))}.next();
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
    DataText text{static_cast<std::size_t>(state.range(0))};

    std::uint64_t sent = 0;
    for (auto _ : state) {
        send(road, text.next(), state.range(0));
        sent += static_cast<std::uint64_t>(state.range(0));
    }
    while (listener->received.load() < sent) {
        std::this_thread::yield();
    }
    countMessages(state);
}

/// What the library adds: the same, but parsed before the clock runs, each message anew.
void parsedToListener(benchmark::State& state)
{
    constexpr std::int64_t messagesAtATime = 2048;
    Road& road = makeRoad();
    const auto listener = std::make_shared<AwaitingListener>();
    road.manager->addMessageListener("scores", std::nullopt, 0, listener);
    road.waitUntilConfirmed();
    DataText text{static_cast<std::size_t>(state.range(0))};
    const std::int64_t framesAtATime = messagesAtATime / state.range(0);
    std::vector<Message> frames;

    for (auto _ : state) {
        state.PauseTiming();
        for (std::int64_t i = 0; i < framesAtATime; ++i) {
            frames.push_back(Frame::parse(text.next()));
        }
        listener->announce(static_cast<std::uint64_t>(framesAtATime * state.range(0)));
        state.ResumeTiming();
        for (Message& frame : frames) {
            road.transport->deliver(std::move(frame));
        }
        frames.clear();
        listener->awaitAll();
    }
    state.SetItemsProcessed(state.iterations() * framesAtATime * state.range(0));
    state.SetLabel("items are messages");
}

void transportToStream(benchmark::State& state)
{
    Road& road = makeRoad();
    auto stream = VexaSubscriptionStream::createStream("scores", std::nullopt, std::nullopt, road.manager);
    road.waitUntilConfirmed();
    DataText text{static_cast<std::size_t>(state.range(0))};
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
        send(road, text.next(), state.range(0));
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
BENCHMARK(parsedToListener)->Apply(configure);
BENCHMARK(transportToListener)->Apply(configure);
BENCHMARK(transportToStream)->Apply(configure);

} // namespace

} // namespace vexa::bench
