// hiredis subscribes to many channels, each with a command of its own, until the last is confirmed.

#include <bench/roads/peers/RedisReply.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/subscribe/SubscribeFigures.hpp>

namespace {

using namespace vexa::bench;

vexa::Dictionary subscribe(std::uint64_t topics, const std::string& /*mode*/)
{
    const Daemon server = Daemon::redis();
    const RedisContext context = connectToRedis(server.port());
    const SubscribeMeter meter{topics};
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        redisAppendCommand(context.get(), "SUBSCRIBE %s", topicName(topic).c_str());
    }
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        const RedisReply confirmation = nextReply(*context);
    }
    return meter.figures("hiredis");
}

} // namespace

int main(int count, char** words)
{
    return subscribeMain(count, words, {"blocking"}, subscribe);
}
