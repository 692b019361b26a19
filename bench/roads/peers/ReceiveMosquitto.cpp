// libmosquitto, subscribed to mosquitto with quality of service 0: each message is parsed in the callback.

#include <bench/roads/peers/MosquittoClient.hpp>
#include <bench/roads/receive/ReceiveMeter.hpp>
#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Daemon.hpp>
#include <bench/roads/shared/Feeder.hpp>
#include <bench/roads/shared/JsonReader.hpp>
#include <bench/roads/shared/Sockets.hpp>

#include <mosquitto.h>

#include <array>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

using namespace vexa::bench;

/// Asks for a session (MQTT 3.1.1, section 3.1), a clean one that needs no signs of life, and waits for the answer.
void connectSender(int socket)
{
    constexpr std::string_view packet{"\x10\x12\x00\x04MQTT\x04\x02\x00\x00\x00\x06sender", 20};
    constexpr std::size_t answerBytes = 4;
    writeAll(socket, packet);
    std::array<char, answerBytes> answer{};
    for (std::size_t count = 0; count < answer.size();) {
        const std::size_t more = readSome(socket, answer.data() + count, answer.size() - count);
        if (more == 0) {
            throw std::runtime_error{"mosquitto does not take the sender"};
        }
        count += more;
    }
    if (answer[3] != 0) {
        throw std::runtime_error{"mosquitto refuses the sender"};
    }
}

vexa::Dictionary receive(const ReceiveOptions& options)
{
    const Daemon server = Daemon::mosquitto();
    Pipe acknowledgements = Pipe::open();
    ChildProcess sender = ChildProcess::running([&] {
        acknowledgements.writing = Descriptor{};
        const Descriptor socket = connectTo(server.port());
        connectSender(socket.number());
        Feeder{socket.number(), acknowledgements.reading.number(), mqttFrames(options.topics)}.run(options.total(),
                                                                                                   options.window);
    });
    ReceiveMeter meter{options, acknowledgements.writing.number()};
    MosquittoClient client{server.port()};
    const auto reader = std::make_unique<JsonReader>();
    client.onMessage([&](const mosquitto_message& message) {
        reader->read(static_cast<const char*>(message.payload), static_cast<std::size_t>(message.payloadlen),
                     [&meter](const vexa::Value& value) { meter.received(value.is_object() ? 1 : 0); });
    });
    for (std::size_t topic = 0; topic < options.topics; ++topic) {
        client.subscribe(topicName(topic));
    }
    client.runUntil([&] { return client.confirmed() == options.topics; });
    meter.start();
    client.runUntil([&] { return meter.isDone(); });
    meter.waitUntilDone(sender);
    return meter.figures("libmosquitto");
}

} // namespace

int main(int count, char** words)
{
    return receiveMain(count, words, {"loop"}, receive);
}
