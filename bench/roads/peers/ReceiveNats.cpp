// nats.c, subscribed to nats-server: each message is parsed and handed to the callback of its topic.

#include <bench/roads/peers/NatsCalls.hpp>
#include <bench/roads/receive/ReceiveMeter.hpp>
#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/Feeder.hpp>
#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <memory>
#include <vector>

namespace {

using namespace vexa::bench;

void takeMessage(natsConnection* /*connection*/, natsSubscription* /*subscription*/, natsMsg* message, void* meter)
{
    thread_local const auto reader = std::make_unique<JsonReader>();
    reader->read(
        natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message)),
        [meter](const vexa::Value& value) { static_cast<ReceiveMeter*>(meter)->received(value.is_object() ? 1 : 0); });
    natsMsg_Destroy(message);
}

vexa::Dictionary receive(const ReceiveOptions& options)
{
    const Daemon server = Daemon::nats();
    Pipe acknowledgements = Pipe::open();
    ChildProcess sender = ChildProcess::running([&] {
        acknowledgements.writing = Descriptor{};
        const Descriptor socket = connectTo(server.port());
        writeAll(socket.number(), "CONNECT {\"verbose\":false,\"pedantic\":false}\r\n");
        Feeder{socket.number(), acknowledgements.reading.number(), natsFrames(options.topics)}.run(options.total(),
                                                                                                   options.window);
    });
    ReceiveMeter meter{options, acknowledgements.writing.number()};
    NatsConnection connection{server.port(), options.mode == "pool" ? NatsThreads::pool : NatsThreads::one};
    connection.connect();
    std::vector<natsSubscription*> subscriptions(options.topics);
    for (std::size_t topic = 0; topic < options.topics; ++topic) {
        check(natsConnection_Subscribe(&subscriptions[topic], connection.get(), topicName(topic).c_str(), &takeMessage,
                                       &meter));
    }
    check(natsConnection_Flush(connection.get()));
    meter.start();
    meter.waitUntilDone(sender);
    vexa::Dictionary figures = meter.figures("nats.c");
    for (natsSubscription* const each : subscriptions) {
        natsSubscription_Destroy(each);
    }
    return figures;
}

} // namespace

int main(int count, char** words)
{
    return receiveMain(count, words, {"pool", "threads"}, receive);
}
