// Publisher, redis-server and subscriber, each in a process of its own, the two clients with hiredis: how long a
// message takes from the publisher's call to the subscriber's callback.

#include <bench/roads/latency/LatencyMeter.hpp>
#include <bench/roads/peers/RedisReply.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <boost/json/serialize.hpp>

#include <memory>
#include <stdexcept>
#include <string>

namespace {

using namespace vexa::bench;

void publishAll(const LatencyOptions& options, std::uint16_t port, int orders)
{
    const RedisContext context = connectToRedis(port);
    publishAtRate(options, orders, [&](const vexa::Dictionary& message) {
        const std::string text = boost::json::serialize(message);
        redisAppendCommand(context.get(), "PUBLISH scores %b", text.data(), text.size());
        int isWritten = 0;
        while (isWritten == 0) {
            if (redisBufferWrite(context.get(), &isWritten) != REDIS_OK) {
                throw std::runtime_error{"redis: cannot publish"};
            }
        }
        // How many subscribers there are is of no interest, and waiting for it would slow the publisher down.
        discardInput(context->fd);
    });
}

vexa::Dictionary measure(const LatencyOptions& options)
{
    const Daemon server = Daemon::redis();
    Pipe orders = Pipe::open();
    ChildProcess publisher = ChildProcess::running([&] {
        orders.writing = Descriptor{};
        publishAll(options, server.port(), orders.reading.number());
    });
    const RedisContext context = connectToRedis(server.port());
    redisAppendCommand(context.get(), "SUBSCRIBE scores");
    const RedisReply confirmation = nextReply(*context);
    LatencyMeter meter{options};
    const auto reader = std::make_unique<JsonReader>();
    writeAll(orders.writing.number(), "begin");
    while (!meter.isDone()) {
        const RedisReply reply = nextReply(*context);
        const redisReply& text = *reply->element[2];
        reader->read(text.str, text.len,
                     [&meter](const vexa::Value& message) { meter.received(message.get_object()); });
    }
    meter.waitUntilDone(publisher);
    return meter.figures("hiredis");
}

} // namespace

int main(int count, char** words)
{
    return latencyMain(count, words, {"blocking"}, measure);
}
