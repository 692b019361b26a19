// Publisher, `vexa serve` and a stream, each in a process of its own: how long a message takes from the publisher's
// call to the stream's consumer.

#include <bench/LogFile.hpp>
#include <bench/roads/latency/LatencyMeter.hpp>
#include <bench/roads/shared/ConfirmationLog.hpp>
#include <bench/roads/shared/Sockets.hpp>
#include <bench/roads/shared/VexaClientSide.hpp>
#include <bench/roads/shared/VexaServe.hpp>
#include <host/publish/Publisher.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using namespace vexa::bench;
using Element = vexa::VexaSubscriptionStream::Element;
using Stream = vexa::AsyncStream<Element>;

constexpr const char* topic = "scores";

void publishAll(const LatencyOptions& options, const std::string& url, int orders)
{
    const LogFile log{vexa::SystemPlatform::shared()};
    const auto transport = makeTransport(url);
    vexa::host::Publisher publisher{transport};
    transport->start();
    awaitOpen(*transport);
    publishAtRate(options, orders, [&publisher](vexa::Dictionary message) {
        std::vector<vexa::Dictionary> payloads;
        payloads.push_back(std::move(message));
        publisher.publish(topic, std::nullopt, std::move(payloads));
    });
    transport->stop();
}

void consume(Stream& stream, LatencyMeter& meter)
{
    stream.next([&stream, &meter](const std::optional<Element>& element) {
        if (element) {
            meter.received(element->message->at("payload").as_object());
            consume(stream, meter);
        }
    });
}

vexa::Dictionary measure(const LatencyOptions& options)
{
    const VexaServe service = VexaServe::start();
    Pipe orders = Pipe::open();
    ChildProcess publisher = ChildProcess::running([&] {
        orders.writing = Descriptor{};
        publishAll(options, service.url(), orders.reading.number());
    });
    ConfirmationLog log;
    const auto transport = makeTransport(service.url());
    vexa::Dependencies::shared().oruClient(transport);
    transport->start();
    LatencyMeter meter{options};
    Stream stream = vexa::VexaSubscriptionStream::createStream(topic);
    std::jthread thread;
    if (options.mode == "callback") {
        consume(stream, meter);
    } else {
        thread = std::jthread{[&] {
            for (const Element& element : stream) {
                meter.received(element.message->at("payload").as_object());
            }
        }};
    }
    log.await(1);
    writeAll(orders.writing.number(), "begin");
    meter.waitUntilDone(publisher);
    stream.cancel();
    transport->stop();
    return meter.figures("vexa");
}

} // namespace

int main(int count, char** words)
{
    return latencyMain(count, words, {"blocking", "callback"}, measure);
}
