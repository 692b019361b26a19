// The connection to mosquitto is cut: libmosquitto connects again when it is told to, and leaves it to the application
// to subscribe anew. Measured from the new connection until the last topic is confirmed.

#include <bench/roads/peers/MosquittoClient.hpp>
#include <bench/roads/reconnect/CuttableRelay.hpp>
#include <bench/roads/reconnect/ReconnectMain.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/TopicTexts.hpp>

namespace {

using namespace vexa::bench;

void subscribe(MosquittoClient& client, std::uint64_t topics)
{
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        client.subscribe(topicName(topic));
    }
    client.runUntil([&] { return client.confirmed() == topics; });
}

Recovery recover(std::uint64_t topics)
{
    const Daemon server = Daemon::mosquitto();
    CuttableRelay relay = CuttableRelay::to(server.port());
    MosquittoClient publisher{server.port()};
    MosquittoClient subscriber{relay.port()};
    subscribe(subscriber, topics);

    relay.cut();
    subscriber.runUntil([] { return false; }, true);
    // The broker has taken all when the topic behind them is confirmed.
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        publisher.publish(topicName(topic), "{\"score\":1}");
    }
    publisher.subscribe("end");
    publisher.runUntil([&] { return publisher.confirmed() == 1; });
    Recovery recovery;
    recovery.missed = topics;
    recovery.mended = TimeUsage::now();
    relay.mend();
    subscriber.reconnect();
    subscribe(subscriber, topics);
    recovery.working = TimeUsage::now();
    recovery.connectedAt = relay.connectedAt();
    recovery.lost = topics - subscriber.received();
    return recovery;
}

} // namespace

int main(int count, char** words)
{
    return reconnectMain(count, words, "libmosquitto", recover);
}
