// Publisher, nats-server and subscriber, each in a process of its own, the two clients with nats.c: how long a message
// takes from the publisher's call to the subscriber's callback.

#include <bench/roads/latency/LatencyMeter.hpp>
#include <bench/roads/peers/NatsCalls.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <boost/json/serialize.hpp>

#include <memory>
#include <string>

namespace {

using namespace vexa::bench;

void publishAll(const LatencyOptions& options, std::uint16_t port, int orders)
{
    NatsConnection connection{port};
    check(natsOptions_SetSendAsap(connection.options(), true));
    connection.connect();
    publishAtRate(options, orders, [&](const vexa::Dictionary& message) {
        const std::string text = boost::json::serialize(message);
        check(natsConnection_Publish(connection.get(), "scores", text.data(), static_cast<int>(text.size())));
    });
}

void takeMessage(natsConnection* /*connection*/, natsSubscription* /*subscription*/, natsMsg* message, void* meter)
{
    thread_local const auto reader = std::make_unique<JsonReader>();
    reader->read(
        natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message)),
        [meter](const vexa::Value& value) { static_cast<LatencyMeter*>(meter)->received(value.get_object()); });
    natsMsg_Destroy(message);
}

vexa::Dictionary measure(const LatencyOptions& options)
{
    const Daemon server = Daemon::nats();
    Pipe orders = Pipe::open();
    ChildProcess publisher = ChildProcess::running([&] {
        orders.writing = Descriptor{};
        publishAll(options, server.port(), orders.reading.number());
    });
    LatencyMeter meter{options};
    NatsConnection connection{server.port(), options.mode == "pool" ? NatsThreads::pool : NatsThreads::one};
    connection.connect();
    natsSubscription* subscription = nullptr;
    check(natsConnection_Subscribe(&subscription, connection.get(), "scores", &takeMessage, &meter));
    check(natsConnection_Flush(connection.get()));
    writeAll(orders.writing.number(), "begin");
    meter.waitUntilDone(publisher);
    natsSubscription_Destroy(subscription);
    return meter.figures("nats.c");
}

} // namespace

int main(int count, char** words)
{
    return latencyMain(count, words, {"threads", "pool"}, measure);
}
