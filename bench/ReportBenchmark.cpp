// What a diagnostic report of messages costs until it is sent, minutes later: how long it takes to make, and how much
// memory it holds meanwhile.

#include "BenchTransport.hpp"
#include "DataText.hpp"
#include "HeldBytes.hpp"
#include "LogFile.hpp"
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/subscription_client/ClientTables.hpp>
#include <VexaClient/subscription_client/DiagnosticReport.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace vexa::bench {

namespace {

/// How many messages are made before the clock runs, and delivered while it does.
constexpr std::size_t messagesAtATime = 64;

/// A client that nobody follows: of a message it routes the entries, and makes the report.
struct ReportingClient {
    ReportingClient()
    {
        container.oruClient(transport);
        client->createSubscription("scores", std::nullopt, 0);
        while (client->state().currentSubscriptions.empty()) {
            std::this_thread::yield();
        }
    }

    Dependencies container;
    SystemPlatform& platform = SystemPlatform::shared();
    LogFile log{platform};
    std::shared_ptr<BenchTransport> transport = std::make_shared<BenchTransport>();
    std::shared_ptr<VexaOruClient> client = VexaOruClient::make(platform, container);
};

/// Never torn down: what it scheduled for minutes later still refers to it.
ReportingClient& reportingClient()
{
    static auto& client = *new ReportingClient;
    return client;
}

/// The client's whole work on messages that were parsed before: the hop to its queue, the routing, the topic's time,
/// the report and its delay. Only the reports stay in memory.
void messageWithoutFollowers(benchmark::State& state)
{
    ReportingClient& reporting = reportingClient();
    DataText text{static_cast<std::size_t>(state.range(0))};
    std::vector<Message> messages;
    messages.reserve(messagesAtATime);
    std::int64_t held = 0;
    for (auto _ : state) {
        state.PauseTiming();
        held -= heldBytes();
        for (std::size_t i = 0; i < messagesAtATime; ++i) {
            messages.push_back(Frame::parse(text.next()));
        }
        state.ResumeTiming();
        for (Message& message : messages) {
            reporting.transport->deliver(std::move(message));
        }
        // Waits until all of them have been handled.
        benchmark::DoNotOptimize(reporting.client->state());
        state.PauseTiming();
        messages.clear();
        held += heldBytes();
        state.ResumeTiming();
    }
    const std::int64_t reports = state.iterations() * static_cast<std::int64_t>(messagesAtATime);
    state.SetItemsProcessed(reports * state.range(0));
    state.counters["perReport"] =
        benchmark::Counter(static_cast<double>(messagesAtATime),
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytesPerReport"] = static_cast<double>(held) / static_cast<double>(reports);
    state.counters["bytesPerRecord"] = static_cast<double>(held) / static_cast<double>(reports * state.range(0));
    state.SetLabel("items are records");
}

/// A record for each of so many entries, with nothing around it.
void recordsMade(benchmark::State& state)
{
    const TopicSubscription topic{"scores", std::nullopt, "a hash of twenty-four ch", 1700000000.5};
    const SubscriptionRoutePointer route{new SubscriptionRoute{"s-0"}};
    const auto count = static_cast<std::size_t>(state.range(0));
    const auto makeReport = [&] {
        DeliveryReport report{1700000000.25, 1700000000.5, true, {}};
        report.records.reserve(count);
        for (std::size_t i = 0; i < count; ++i) {
            report.records.push_back({route, topic.identity(), topic.updatedAt, false});
        }
        return report;
    };
    for (auto _ : state) {
        benchmark::DoNotOptimize(makeReport());
    }
    const std::int64_t before = heldBytes();
    const DeliveryReport held = makeReport();
    const std::int64_t bytes = heldBytes() - before;
    benchmark::DoNotOptimize(&held);
    state.SetItemsProcessed(state.iterations() * state.range(0));
    state.counters["perRecord"] = benchmark::Counter(
        static_cast<double>(count), benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
    state.counters["bytesPerRecord"] = static_cast<double>(bytes) / static_cast<double>(count);
    state.SetLabel("items are records");
}

BENCHMARK(messageWithoutFollowers)
    ->Arg(1)
    ->Arg(32)
    ->Iterations(1000)
    ->ArgName("entries")
    ->UseRealTime()
    ->MeasureProcessCPUTime();
BENCHMARK(recordsMade)->Arg(1024)->ArgName("entries");

} // namespace

} // namespace vexa::bench
