// The whole road of the library: its WebSocket transport, the parser, the routing by subscription id, the delivery
// report, and a stream for each topic, consumed in one of the ways that streams offer.

#include <bench/LogFile.hpp>
#include <bench/roads/receive/ReceiveMeter.hpp>
#include <bench/roads/receive/VexaSender.hpp>
#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Sockets.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <host/websocket/OruWebSocketClient.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <list>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace vexa::bench;
using Stream = vexa::AsyncStream<vexa::VexaSubscriptionStream::Element>;

/// Asks its stream for one element after the other, each with a callback.
class CallbackConsumer {
public:
    CallbackConsumer(Stream stream, ReceiveMeter& meter) : stream_{std::move(stream)}, meter_{meter} {}

    void consume()
    {
        stream_.next([this](const std::optional<vexa::VexaSubscriptionStream::Element>& element) {
            if (element) {
                meter_.received();
                consume();
            }
        });
    }

private:
    Stream stream_;
    ReceiveMeter& meter_;
};

/// A listener without a stream.
class Listener final : public vexa::VexaSubscriptionListener {
public:
    explicit Listener(ReceiveMeter& meter) : meter_{meter} {}
    void messageReceived(const vexa::Message& /*message*/, bool /*isTerminating*/) override { meter_.received(); }

private:
    ReceiveMeter& meter_;
};

/// Those who follow the topics.
class Consumers {
public:
    Consumers(const ReceiveOptions& options, ReceiveMeter& meter)
    {
        for (std::size_t topic = 0; topic < options.topics; ++topic) {
            const std::string name = topicName(topic);
            if (options.mode == "listener") {
                manager().addMessageListener(name, std::nullopt, 0, std::make_shared<Listener>(meter));
                continue;
            }
            Stream stream = vexa::VexaSubscriptionStream::createStream(name);
            if (options.mode == "callback") {
                callbacks_.emplace_back(std::move(stream), meter).consume();
            } else {
                threads_.emplace_back(&Consumers::consumeAll, std::ref(streams_.emplace_back(std::move(stream))),
                                      std::ref(meter));
            }
        }
    }

    ~Consumers()
    {
        for (Stream& stream : streams_) {
            stream.cancel();
        }
        for (std::thread& thread : threads_) {
            thread.join();
        }
    }

    Consumers(const Consumers&) = delete;
    Consumers& operator=(const Consumers&) = delete;

private:
    static vexa::VexaOruSubscriptionManager& manager()
    {
        return *vexa::VexaOruSubscriptionManager::sharedSubscriptionManager();
    }

    static void consumeAll(Stream& stream, ReceiveMeter& meter)
    {
        for (const auto& element : stream) {
            static_cast<void>(element);
            meter.received();
        }
    }

    std::list<CallbackConsumer> callbacks_;
    std::list<Stream> streams_;
    std::vector<std::thread> threads_;
};

vexa::Dictionary receive(const ReceiveOptions& options)
{
    const ListeningSocket listening = ListeningSocket::open();
    Pipe acknowledgements = Pipe::open();
    ChildProcess sender = ChildProcess::running([&] {
        acknowledgements.writing = Descriptor{};
        serveAndSend(listening, acknowledgements.reading.number(), options);
    });
    const LogFile log{vexa::SystemPlatform::shared()};
    vexa::host::OruWebSocketClientOptions transportOptions;
    transportOptions.url = "ws://127.0.0.1:" + std::to_string(listening.port);
    const auto transport = vexa::host::OruWebSocketClient::make(transportOptions);
    vexa::Dependencies::shared().oruClient(transport);
    ReceiveMeter meter{options, acknowledgements.writing.number()};
    const Consumers consumers{options, meter};
    transport->start();
    meter.start();
    meter.waitUntilDone(sender);
    vexa::Dictionary figures = meter.figures("vexa");
    const auto traffic = transport->figures();
    figures["framesReceived"] = traffic.received.frames;
    figures["bytesReceived"] = traffic.received.bytes;
    figures["framesSent"] = traffic.sent.frames;
    transport->stop();
    return figures;
}

} // namespace

int main(int count, char** words)
{
    return receiveMain(count, words, {"blocking", "callback", "listener"}, receive);
}
