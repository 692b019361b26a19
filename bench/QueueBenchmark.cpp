// The serial queue, and beside it strands of Boost.Asio doing the same.

#include "HeldBytes.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>

#include <boost/asio/defer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/strand.hpp>
#include <boost/asio/thread_pool.hpp>

#include <benchmark/benchmark.h>

#include <array>
#include <atomic>
#include <memory>
#include <semaphore>
#include <thread>

namespace vexa::bench {

namespace {

constexpr std::size_t hops = 4;
constexpr std::ptrdiff_t window = 1024;

/// A payload on its way, with how to tell that it has arrived.
struct Parcel {
    std::shared_ptr<const int> payload;
    std::counting_semaphore<>* arrived;
};

struct QueueChain {
    std::array<SerialQueueHandle, hops> queues;

    QueueChain()
    {
        for (auto& queue : queues) {
            queue = SystemPlatform::shared().makeQueue("hop", QueueWork::prompt);
        }
    }

    void send(Parcel parcel, std::size_t hop = 0)
    {
        queues[hop]->async([this, parcel = std::move(parcel), hop]() mutable {
            if (hop + 1 < hops) {
                send(std::move(parcel), hop + 1);
            } else {
                parcel.arrived->release();
            }
        });
    }
};

enum class Submit { post, defer };

template <Submit submit>
struct StrandChain {
    using Strand = boost::asio::strand<boost::asio::thread_pool::executor_type>;

    boost::asio::thread_pool pool{2};
    std::array<Strand, hops> strands{Strand{pool.get_executor()}, Strand{pool.get_executor()},
                                     Strand{pool.get_executor()}, Strand{pool.get_executor()}};

    void send(Parcel parcel, std::size_t hop = 0)
    {
        auto work = [this, parcel = std::move(parcel), hop]() mutable {
            if (hop + 1 < hops) {
                send(std::move(parcel), hop + 1);
            } else {
                parcel.arrived->release();
            }
        };
        if constexpr (submit == Submit::post) {
            boost::asio::post(strands[hop], std::move(work));
        } else {
            boost::asio::defer(strands[hop], std::move(work));
        }
    }
};

/// Many parcels on their way at once.
template <class Chain>
void loadedHop(benchmark::State& state)
{
    Chain chain;
    const auto payload = std::make_shared<const int>(1);
    std::counting_semaphore<> room{window};
    for (auto _ : state) {
        room.acquire();
        chain.send(Parcel{payload, &room});
    }
    for (std::ptrdiff_t i = 0; i < window; ++i) {
        room.acquire();
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(hops));
    state.SetLabel("items are hops");
}

/// One parcel at a time, from an idle engine.
template <class Chain>
void unloadedChain(benchmark::State& state)
{
    Chain chain;
    const auto payload = std::make_shared<const int>(1);
    std::counting_semaphore<> arrived{0};
    for (auto _ : state) {
        chain.send(Parcel{payload, &arrived});
        arrived.acquire();
    }
    state.SetLabel("four hops and the way back to the waiting thread");
}

void idleSync(benchmark::State& state)
{
    const auto queue = SystemPlatform::shared().makeQueue("idle", QueueWork::prompt);
    int value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(queue->sync([&] { return ++value; }));
    }
}

void delayedItem(benchmark::State& state)
{
    const auto queue = SystemPlatform::shared().makeQueue("delayed", QueueWork::prompt);
    const auto payload = std::make_shared<const int>(1);
    double delay = 5.0;
    const std::int64_t before = heldBytes();
    for (auto _ : state) {
        delay = delay < 300.0 ? delay + 0.001 : 5.0;
        queue->asyncAfter(delay, [payload] { benchmark::DoNotOptimize(payload.get()); });
    }
    state.counters["bytesPerItem"] =
        static_cast<double>(heldBytes() - before) / static_cast<double>(state.iterations());
}

BENCHMARK(loadedHop<QueueChain>)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(loadedHop<StrandChain<Submit::post>>)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(loadedHop<StrandChain<Submit::defer>>)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(unloadedChain<QueueChain>)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(unloadedChain<StrandChain<Submit::post>>)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(unloadedChain<StrandChain<Submit::defer>>)->UseRealTime()->MeasureProcessCPUTime();
BENCHMARK(idleSync);
BENCHMARK(delayedItem)->Iterations(1000000);

} // namespace

} // namespace vexa::bench
