// The connection to redis-server is cut: hiredis leaves it to the application to connect again and to subscribe anew.
// Measured from the new connection until the last channel is confirmed.

#include <bench/roads/peers/RedisReply.hpp>
#include <bench/roads/reconnect/CuttableRelay.hpp>
#include <bench/roads/reconnect/ReconnectMain.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/TopicTexts.hpp>

#include <string_view>

namespace {

using namespace vexa::bench;

/// Subscribes to all channels; returns how many messages came before the last of them was confirmed.
std::uint64_t subscribe(redisContext& context, std::uint64_t topics)
{
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        redisAppendCommand(&context, "SUBSCRIBE %s", topicName(topic).c_str());
    }
    std::uint64_t messages = 0;
    for (std::uint64_t confirmed = 0; confirmed < topics;) {
        const RedisReply reply = nextReply(context);
        const bool isConfirmation = std::string_view{reply->element[0]->str} == "subscribe";
        confirmed += isConfirmation ? 1 : 0;
        messages += isConfirmation ? 0 : 1;
    }
    return messages;
}

void publishOnAll(redisContext& context, std::uint64_t topics)
{
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        redisAppendCommand(&context, "PUBLISH %s {\"score\":1}", topicName(topic).c_str());
    }
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        const RedisReply reply = nextReply(context);
    }
}

Recovery recover(std::uint64_t topics)
{
    const Daemon server = Daemon::redis();
    CuttableRelay relay = CuttableRelay::to(server.port());
    const RedisContext publisher = connectToRedis(server.port());
    RedisContext subscriber = connectToRedis(relay.port());
    subscribe(*subscriber, topics);

    relay.cut();
    publishOnAll(*publisher, topics);
    subscriber.reset();
    Recovery recovery;
    recovery.missed = topics;
    recovery.mended = TimeUsage::now();
    relay.mend();
    subscriber = connectToRedis(relay.port());
    const std::uint64_t came = subscribe(*subscriber, topics);
    recovery.working = TimeUsage::now();
    recovery.connectedAt = relay.connectedAt();
    recovery.lost = topics - came;
    return recovery;
}

} // namespace

int main(int count, char** words)
{
    return reconnectMain(count, words, "hiredis", recover);
}
