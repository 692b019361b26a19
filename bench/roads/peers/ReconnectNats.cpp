// The connection of nats.c to nats-server is cut: the library connects again and subscribes anew by itself. Measured
// from the new connection until the server has answered the ping behind the last subscription.

#include <bench/roads/peers/NatsCalls.hpp>
#include <bench/roads/reconnect/CuttableRelay.hpp>
#include <bench/roads/reconnect/ReconnectMain.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/TopicTexts.hpp>

#include <atomic>
#include <future>
#include <vector>

namespace {

using namespace vexa::bench;

constexpr std::int64_t patienceMilliseconds = 60'000;

Recovery recover(std::uint64_t topics)
{
    constexpr std::int64_t reconnectMilliseconds = 10;
    const Daemon server = Daemon::nats();
    CuttableRelay relay = CuttableRelay::to(server.port());
    NatsConnection publisher{server.port()};
    publisher.connect();
    NatsConnection subscriber{relay.port()};
    std::promise<void> hasReconnected;
    check(natsOptions_SetMaxReconnect(subscriber.options(), -1));
    check(natsOptions_SetReconnectWait(subscriber.options(), reconnectMilliseconds));
    check(natsOptions_SetReconnectedCB(
        subscriber.options(),
        [](natsConnection* /*connection*/, void* promise) { static_cast<std::promise<void>*>(promise)->set_value(); },
        &hasReconnected));
    subscriber.connect();
    std::atomic<std::uint64_t> received{0};
    std::vector<natsSubscription*> subscriptions(topics);
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        check(natsConnection_Subscribe(
            &subscriptions[topic], subscriber.get(), topicName(topic).c_str(),
            [](natsConnection*, natsSubscription*, natsMsg* message, void* count) {
                ++*static_cast<std::atomic<std::uint64_t>*>(count);
                natsMsg_Destroy(message);
            },
            &received));
    }
    check(natsConnection_FlushTimeout(subscriber.get(), patienceMilliseconds));

    relay.cut();
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        check(natsConnection_PublishString(publisher.get(), topicName(topic).c_str(), "{\"score\":1}"));
    }
    check(natsConnection_FlushTimeout(publisher.get(), patienceMilliseconds));
    Recovery recovery;
    recovery.missed = topics;
    recovery.mended = TimeUsage::now();
    relay.mend();
    hasReconnected.get_future().wait();
    check(natsConnection_FlushTimeout(subscriber.get(), patienceMilliseconds));
    recovery.working = TimeUsage::now();
    recovery.connectedAt = relay.connectedAt();
    recovery.lost = topics - received;
    for (natsSubscription* const each : subscriptions) {
        natsSubscription_Destroy(each);
    }
    return recovery;
}

} // namespace

int main(int count, char** words)
{
    return reconnectMain(count, words, "nats.c", recover);
}
