// nats.c subscribes to many subjects. Its server confirms none of them; that it has read them all is what the answer to
// the ping behind them tells.

#include <bench/roads/peers/NatsCalls.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/subscribe/SubscribeFigures.hpp>

#include <vector>

namespace {

using namespace vexa::bench;

vexa::Dictionary subscribe(std::uint64_t topics, const std::string& /*mode*/)
{
    constexpr std::int64_t patienceMilliseconds = 60'000;
    const Daemon server = Daemon::nats();
    NatsConnection connection{server.port(), NatsThreads::pool};
    connection.connect();
    std::vector<natsSubscription*> subscriptions(topics);
    const SubscribeMeter meter{topics};
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        check(natsConnection_Subscribe(
            &subscriptions[topic], connection.get(), topicName(topic).c_str(),
            [](natsConnection*, natsSubscription*, natsMsg* message, void*) { natsMsg_Destroy(message); }, nullptr));
    }
    check(natsConnection_FlushTimeout(connection.get(), patienceMilliseconds));
    vexa::Dictionary figures = meter.figures("nats.c");
    for (natsSubscription* const each : subscriptions) {
        natsSubscription_Destroy(each);
    }
    return figures;
}

} // namespace

int main(int count, char** words)
{
    // A thread for each of a hundred thousand subscriptions is more than a machine has.
    return subscribeMain(count, words, {"pool"}, subscribe);
}
