// The library subscribes to many topics of `vexa serve` over a connection that is open, each with a request of its own,
// for a listener or a stream, until the service has confirmed the last of them.

#include <bench/roads/shared/ConfirmationLog.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/shared/VexaClientSide.hpp>
#include <bench/roads/shared/VexaServe.hpp>
#include <bench/roads/subscribe/SubscribeFigures.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace vexa::bench;
using Stream = vexa::AsyncStream<vexa::VexaSubscriptionStream::Element>;

vexa::Dictionary subscribe(std::uint64_t topics, const std::string& mode)
{
    const VexaServe service = VexaServe::start();
    ConfirmationLog log;
    const auto transport = makeTransport(service.url());
    vexa::Dependencies::shared().oruClient(transport);
    transport->start();
    awaitOpen(*transport);
    auto& manager = *vexa::VexaOruSubscriptionManager::sharedSubscriptionManager();
    std::vector<Stream> streams;
    const SubscribeMeter meter{topics};
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        if (mode == "stream") {
            streams.push_back(vexa::VexaSubscriptionStream::createStream(topicName(topic)));
        } else {
            manager.addMessageListener(topicName(topic), std::nullopt, 0,
                                       std::make_shared<CallingListener>([](const vexa::Message&) {}));
        }
    }
    log.await(topics);
    vexa::Dictionary figures = meter.figures("vexa");
    transport->stop();
    streams.clear();
    return figures;
}

} // namespace

int main(int count, char** words)
{
    return subscribeMain(count, words, {"listener", "stream"}, subscribe);
}
