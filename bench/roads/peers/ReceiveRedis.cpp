// hiredis, subscribed to redis-server: each message is parsed and handed to what its topic belongs to.

#include <bench/roads/peers/RedisLoop.hpp>
#include <bench/roads/peers/RedisReply.hpp>
#include <bench/roads/receive/ReceiveMeter.hpp>
#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/Feeder.hpp>
#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <hiredis/hiredis.h>

#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace {

using namespace vexa::bench;

/// What gets the messages of one topic.
struct Consumer {
    ReceiveMeter& meter;
    JsonReader& reader;

    void take(const redisReply& text) const
    {
        reader.read(text.str, text.len,
                    [this](const vexa::Value& message) { meter.received(message.is_object() ? 1 : 0); });
    }
};

void receiveBlocking(const ReceiveOptions& options, std::uint16_t port, ReceiveMeter& meter)
{
    const RedisContext context = connectToRedis(port);
    const auto reader = std::make_unique<JsonReader>();
    std::unordered_map<std::string_view, Consumer> consumers;
    std::vector<std::string> names;
    names.reserve(options.topics);
    for (std::size_t topic = 0; topic < options.topics; ++topic) {
        consumers.emplace(names.emplace_back(topicName(topic)), Consumer{meter, *reader});
        redisAppendCommand(context.get(), "SUBSCRIBE %s", names.back().c_str());
    }
    for (std::size_t topic = 0; topic < options.topics; ++topic) {
        const RedisReply confirmation = nextReply(*context);
    }
    meter.start();
    while (!meter.isDone()) {
        const RedisReply reply = nextReply(*context);
        const redisReply& channel = *reply->element[1];
        consumers.at(std::string_view{channel.str, channel.len}).take(*reply->element[2]);
    }
}

/// The callback of a topic, for confirmations and messages alike.
void takeReply(redisAsyncContext* context, void* reply, void* consumer)
{
    if (reply == nullptr) {
        return;
    }
    const auto& list = *static_cast<redisReply*>(reply);
    if (list.elements == 3 && list.element[2]->type == REDIS_REPLY_STRING) {
        static_cast<const Consumer*>(consumer)->take(*list.element[2]);
    } else {
        ++*static_cast<std::size_t*>(context->data);
    }
}

void receiveAsynchronously(const ReceiveOptions& options, std::uint16_t port, ReceiveMeter& meter)
{
    RedisLoop loop{port};
    std::size_t confirmed = 0;
    loop.context().data = &confirmed;
    const auto reader = std::make_unique<JsonReader>();
    Consumer consumer{meter, *reader};
    for (std::size_t topic = 0; topic < options.topics; ++topic) {
        redisAsyncCommand(&loop.context(), &takeReply, &consumer, "SUBSCRIBE %s", topicName(topic).c_str());
    }
    loop.runUntil([&] { return confirmed == options.topics; });
    meter.start();
    loop.runUntil([&] { return meter.isDone(); });
}

vexa::Dictionary receive(const ReceiveOptions& options)
{
    const Daemon server = Daemon::redis();
    Pipe acknowledgements = Pipe::open();
    ChildProcess sender = ChildProcess::running([&] {
        acknowledgements.writing = Descriptor{};
        const Descriptor socket = connectTo(server.port());
        Feeder{socket.number(), acknowledgements.reading.number(), redisFrames(options.topics)}.run(options.total(),
                                                                                                    options.window);
    });
    ReceiveMeter meter{options, acknowledgements.writing.number()};
    if (options.mode == "blocking") {
        receiveBlocking(options, server.port(), meter);
    } else {
        receiveAsynchronously(options, server.port(), meter);
    }
    meter.waitUntilDone(sender);
    return meter.figures("hiredis");
}

} // namespace

int main(int count, char** words)
{
    return receiveMain(count, words, {"blocking", "asynchronous"}, receive);
}
