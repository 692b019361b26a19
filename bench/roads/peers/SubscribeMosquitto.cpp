// libmosquitto subscribes to many topics, each with a packet of its own, until the last is confirmed.

#include <bench/roads/peers/MosquittoClient.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/subscribe/SubscribeFigures.hpp>

namespace {

using namespace vexa::bench;

vexa::Dictionary subscribe(std::uint64_t topics, const std::string& /*mode*/)
{
    const Daemon server = Daemon::mosquitto();
    MosquittoClient client{server.port()};
    const SubscribeMeter meter{topics};
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        client.subscribe(topicName(topic));
    }
    client.runUntil([&] { return client.confirmed() == topics; });
    return meter.figures("libmosquitto");
}

} // namespace

int main(int count, char** words)
{
    return subscribeMain(count, words, {"loop"}, subscribe);
}
