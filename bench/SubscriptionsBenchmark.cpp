// What a message costs among more and more subscriptions, from its text to its listener.

#include "BenchTransport.hpp"
#include "DataText.hpp"
#include "LogFile.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <thread>

namespace vexa::bench {

namespace {

/// How many messages may be on the road at once.
constexpr std::uint64_t window = 4096;

/// The digits of a number below a bound.
std::size_t digitsBelow(std::uint64_t bound)
{
    return std::to_string(bound - 1).size();
}

class CountingListener final : public VexaSubscriptionListener {
public:
    void messageReceived(const Message& message, bool) override
    {
        benchmark::DoNotOptimize(message.get());
        received.fetch_add(1, std::memory_order_relaxed);
    }

    std::atomic<std::uint64_t> received{0};
};

/// The library with a listener for each of so many topics.
struct Subscriptions {
    explicit Subscriptions(std::uint64_t count) : transport{std::make_shared<BenchTransport>(digitsBelow(count))}
    {
        container.oruClient(transport);
        // One request for all of them when the connection opens, as after a cut.
        transport->close();
        // Making the one too many waits for what the others left to be done, so that none of them is asked for twice.
        for (std::uint64_t i = 0; i <= count; ++i) {
            manager->addMessageListener("topic-" + std::to_string(i), std::nullopt, 0, listener);
        }
        transport->open();
        while (transport->confirmed() < count + 1) {
            std::this_thread::yield();
        }
    }

    Dependencies container;
    SystemPlatform& platform = SystemPlatform::shared();
    LogFile log{platform};
    std::shared_ptr<BenchTransport> transport;
    std::shared_ptr<VexaOruSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, container);
    std::shared_ptr<CountingListener> listener = std::make_shared<CountingListener>();
    std::uint64_t sent = 0;
};

/// Never torn down: what each scheduled for minutes later still refers to it.
Subscriptions& subscriptions(std::uint64_t count)
{
    static auto& all = *new std::map<std::uint64_t, Subscriptions*>;
    Subscriptions*& some = all[count];
    if (some == nullptr) {
        some = new Subscriptions{count};
    }
    return *some;
}

void messageAmongSubscriptions(benchmark::State& state)
{
    const auto count = static_cast<std::uint64_t>(state.range(0));
    Subscriptions& all = subscriptions(count);
    DataText text{1, digitsBelow(count)};
    std::minstd_rand draw{1};
    std::uniform_int_distribution<std::uint64_t> any{0, count - 1};
    for (auto _ : state) {
        while (all.sent - all.listener->received.load(std::memory_order_relaxed) >= window) {
            std::this_thread::yield();
        }
        all.transport->deliver(Frame::parse(text.next(any(draw))));
        ++all.sent;
    }
    while (all.listener->received.load() < all.sent) {
        std::this_thread::yield();
    }
    state.SetItemsProcessed(state.iterations());
    state.SetLabel("items are messages");
}

BENCHMARK(messageAmongSubscriptions)
    ->RangeMultiplier(10)
    ->Range(1, 1'000'000)
    ->ArgName("subscriptions")
    ->UseRealTime()
    ->MeasureProcessCPUTime();

} // namespace

} // namespace vexa::bench
