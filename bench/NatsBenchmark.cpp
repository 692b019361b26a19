// What the broker on NATS does on this machine, with one server and with a cluster of three: publications that are
// confirmed, one after the other and many at once, and the replay of a history to a process that knows nothing of it.

#include <host/broker/nats/NatsBroker.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>

#include <benchmark/benchmark.h>
#include <tests/nats/NatsServer.hpp>

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace vexa::bench {

namespace {

using host::NatsBroker;
using host::NatsBrokerOptions;
using host::TopicKey;

constexpr std::int64_t oneServer = 1;

/// Counts what happens on other threads.
class Count {
public:
    void add(std::int64_t more)
    {
        const std::lock_guard lock{mutex_};
        count_ += more;
        changed_.notify_all();
    }

    void await(std::int64_t least)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [&] { return count_ >= least; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::int64_t count_ = 0;
};

class CountingReceiver final : public host::BrokerReceiver {
public:
    void subscribed() override {}
    void refused(host::ServiceError /*reason*/) override {}
    void received(std::vector<host::Delivery> deliveries) override
    {
        received_.add(static_cast<std::int64_t>(deliveries.size()));
    }

    void await(std::int64_t count) { received_.await(count); }

private:
    Count received_;
};

/// Options for a stream of its own, with as many replicas as there are servers.
NatsBrokerOptions options(std::int64_t servers)
{
    static host::SingleNatsServer single;
    static int lastStream = 0;
    NatsBrokerOptions options;
    options.stream = "BENCH" + std::to_string(++lastStream);
    options.replicas = static_cast<int>(servers);
    options.publishTimeLimit = 60;
    options.retention.recordsPerTopic = 10'000'000;
    if (servers == oneServer) {
        options.servers = {single.server().address()};
    } else {
        static host::NatsCluster cluster;
        options.servers = cluster.addresses();
    }
    return options;
}

std::vector<Dictionary> payloads(std::size_t count)
{
    constexpr std::size_t textSize = 180;
    Dictionary payload;
    payload["text"] = std::string(textSize, 'x');
    return std::vector<Dictionary>(count, payload);
}

/// Publishes, and counts what is confirmed.
void publish(NatsBroker& broker, std::size_t size, Count& confirmed)
{
    broker.publish(TopicKey{"scores"}, payloads(size), [&confirmed](const host::PublishResult& result) {
        confirmed.add(result.error ? 0 : static_cast<std::int64_t>(result.accepted));
    });
}

void publicationsOneByOne(benchmark::State& state)
{
    const auto broker = NatsBroker::make(options(state.range(0)));
    Count confirmed;
    std::int64_t published = 1;
    publish(*broker, 1, confirmed);
    confirmed.await(published);
    for (auto _ : state) {
        publish(*broker, 1, confirmed);
        confirmed.await(++published);
    }
    state.SetItemsProcessed(state.iterations());
}

void publicationsManyAtOnce(benchmark::State& state)
{
    constexpr std::int64_t ahead = 1'000;
    const auto broker = NatsBroker::make(options(state.range(0)));
    Count confirmed;
    std::int64_t published = 1;
    publish(*broker, 1, confirmed);
    confirmed.await(published);
    for (auto _ : state) {
        publish(*broker, 1, confirmed);
        confirmed.await(++published - ahead);
    }
    confirmed.await(published);
    state.SetItemsProcessed(state.iterations());
}

/// \param size  how many payloads each record of the history holds
void replay(benchmark::State& state, std::size_t size)
{
    const std::int64_t history = size == 1 ? 10'000 : 100'000;
    // Publications that wait for the one before them are stored together.
    const std::int64_t ahead = size == 1 ? 0 : 1'000;
    const NatsBrokerOptions shared = options(state.range(0));
    {
        const auto broker = NatsBroker::make(shared);
        Count confirmed;
        for (std::int64_t published = 0; published < history; published += static_cast<std::int64_t>(size)) {
            publish(*broker, size, confirmed);
            confirmed.await(published - ahead);
        }
        confirmed.await(history);
    }
    for (auto _ : state) {
        const auto broker = NatsBroker::make(shared);
        const auto receiver = std::make_shared<CountingReceiver>();
        broker->subscribe(TopicKey{"scores"}, 0, receiver);
        receiver->await(history);
    }
    state.SetItemsProcessed(state.iterations() * history);
}

void replayOfSmallRecords(benchmark::State& state)
{
    replay(state, 1);
}

void replayOfLargeRecords(benchmark::State& state)
{
    constexpr std::size_t many = 100;
    replay(state, many);
}

BENCHMARK(publicationsOneByOne)->Arg(oneServer)->Arg(host::NatsCluster::size)->UseRealTime();
BENCHMARK(publicationsManyAtOnce)->Arg(oneServer)->Arg(host::NatsCluster::size)->UseRealTime();
BENCHMARK(replayOfSmallRecords)->Arg(oneServer)->Arg(host::NatsCluster::size)->UseRealTime()->Iterations(5);
BENCHMARK(replayOfLargeRecords)->Arg(oneServer)->Arg(host::NatsCluster::size)->UseRealTime()->Iterations(5);

} // namespace

} // namespace vexa::bench
