// One message to many listeners of one subscription, each of which is called with it.

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
#include <thread>

namespace vexa::bench {

namespace {

/// How many messages may be on the road at once.
constexpr std::uint64_t window = 8;

class CountingListener final : public VexaSubscriptionListener {
public:
    explicit CountingListener(std::atomic<std::uint64_t>& received) : received_{received} {}

    void messageReceived(const Message& message, bool) override
    {
        benchmark::DoNotOptimize(message.get());
        received_.fetch_add(1, std::memory_order_relaxed);
    }

private:
    std::atomic<std::uint64_t>& received_;
};

/// The library with some listeners of one topic.
struct Audience {
    explicit Audience(std::uint64_t listeners)
    {
        container.oruClient(transport);
        for (std::uint64_t i = 0; i < listeners; ++i) {
            manager->addMessageListener("scores", std::nullopt, 0, std::make_shared<CountingListener>(received));
        }
        while (transport->confirmed() == 0) {
            std::this_thread::yield();
        }
    }

    Dependencies container;
    SystemPlatform& platform = SystemPlatform::shared();
    LogFile log{platform};
    std::shared_ptr<BenchTransport> transport = std::make_shared<BenchTransport>();
    std::shared_ptr<VexaOruSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, container);
    std::atomic<std::uint64_t> received{0};
    std::uint64_t due = 0;
};

/// Never torn down: what each scheduled for minutes later still refers to it.
Audience& audienceOf(std::uint64_t listeners)
{
    static auto& audiences = *new std::map<std::uint64_t, Audience*>;
    Audience*& audience = audiences[listeners];
    if (audience == nullptr) {
        audience = new Audience{listeners};
    }
    return *audience;
}

void messageToListeners(benchmark::State& state)
{
    const auto listeners = static_cast<std::uint64_t>(state.range(0));
    Audience& audience = audienceOf(listeners);
    DataText text{1};
    for (auto _ : state) {
        while (audience.due - audience.received.load(std::memory_order_relaxed) > window * listeners) {
            std::this_thread::yield();
        }
        audience.transport->deliver(Frame::parse(text.next()));
        audience.due += listeners;
    }
    while (audience.received.load() < audience.due) {
        std::this_thread::yield();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["perListener"] = benchmark::Counter(
        static_cast<double>(listeners), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.SetLabel("items are calls of listeners");
}

BENCHMARK(messageToListeners)
    ->RangeMultiplier(10)
    ->Range(1, 10'000)
    ->ArgName("listeners")
    ->UseRealTime()
    ->MeasureProcessCPUTime();

} // namespace

} // namespace vexa::bench
