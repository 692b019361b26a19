// What a stream costs: on a topic of its own, which the service confirms, and on one that others follow already.

#include "BenchTransport.hpp"
#include "LogFile.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <benchmark/benchmark.h>

#include <string>
#include <thread>
#include <vector>

namespace vexa::bench {

namespace {

using Stream = AsyncStream<VexaSubscriptionStream::Element>;

/// The library on the real engine. Never torn down: what it scheduled for minutes later still refers to it.
struct Library {
    Library() { container.oruClient(transport); }

    Dependencies container;
    SystemPlatform& platform = SystemPlatform::shared();
    LogFile log{platform};
    std::shared_ptr<BenchTransport> transport = std::make_shared<BenchTransport>();
    std::shared_ptr<VexaOruSubscriptionManager> manager = VexaOruSubscriptionManager::make(platform, container);
};

void streamsOnTopicsOfTheirOwn(benchmark::State& state)
{
    Library& library = *new Library;
    std::vector<Stream> streams;
    std::uint64_t created = 0;
    for (auto _ : state) {
        streams.push_back(VexaSubscriptionStream::createStream("topic-" + std::to_string(created++), std::nullopt,
                                                               std::nullopt, library.manager));
    }
    while (library.transport->confirmed() < created) {
        std::this_thread::yield();
    }
    state.SetItemsProcessed(state.iterations());
}

void streamsOnOneTopic(benchmark::State& state)
{
    Library& library = *new Library;
    std::vector<Stream> streams;
    streams.push_back(VexaSubscriptionStream::createStream("scores", std::nullopt, std::nullopt, library.manager));
    while (library.transport->confirmed() == 0) {
        std::this_thread::yield();
    }
    for (auto _ : state) {
        streams.push_back(VexaSubscriptionStream::createStream("scores", std::nullopt, std::nullopt, library.manager));
    }
    state.SetItemsProcessed(state.iterations());
}

BENCHMARK(streamsOnTopicsOfTheirOwn)->UseRealTime()->MeasureProcessCPUTime()->Iterations(20000);
BENCHMARK(streamsOnOneTopic)->UseRealTime()->MeasureProcessCPUTime()->Iterations(20000);

} // namespace

} // namespace vexa::bench
