// What the library holds for each confirmed subscription once its reports have been sent, which takes five minutes: on
// virtual time, over a transport that confirms everything, for a listener or a stream.

#include <bench/BenchTransport.hpp>
#include <bench/roads/shared/RoadMain.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/shared/Usage.hpp>
#include <bench/roads/shared/VexaClientSide.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <tests/streams/ForwardingPlatform.hpp>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace vexa::bench;
using Stream = vexa::AsyncStream<vexa::VexaSubscriptionStream::Element>;

/// Longer than any report waits.
constexpr double reportsAreGone = 301;

/// Bytes that are held for each topic, and that are held when all have been asked for again after a cut.
struct Held {
    double perTopic;
    double perTopicAfterCut;
};

Held hold(std::uint64_t topics, bool areStreams)
{
    vexa::ForwardingPlatform platform;
    vexa::Dependencies container;
    const auto transport = std::make_shared<BenchTransport>();
    container.oruClient(transport);
    const auto manager = vexa::VexaOruSubscriptionManager::make(platform, container);
    std::vector<Stream> streams;
    const MemoryUsage before = MemoryUsage::now();
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        if (areStreams) {
            streams.push_back(
                vexa::VexaSubscriptionStream::createStream(topicName(topic), std::nullopt, std::nullopt, manager));
        } else {
            manager->addMessageListener(topicName(topic), std::nullopt, 0,
                                        std::make_shared<CallingListener>([](const vexa::Message&) {}));
        }
    }
    platform.virtually.clock.advance(reportsAreGone);
    const MemoryUsage settled = MemoryUsage::now();
    transport->cut();
    transport->open();
    platform.virtually.clock.advance(reportsAreGone);
    const MemoryUsage afterCut = MemoryUsage::now();
    if (transport->confirmed() != 2 * topics || transport->reports() == 0) {
        throw std::runtime_error{"not every topic was confirmed before and after the cut"};
    }
    const auto perTopic = [&](const MemoryUsage& later) {
        return (static_cast<double>(later.allocated) - static_cast<double>(before.allocated)) /
               static_cast<double>(topics);
    };
    return {perTopic(settled), perTopic(afterCut)};
}

vexa::Dictionary measure(std::uint64_t topics)
{
    const Held listener = hold(topics, false);
    const Held stream = hold(topics, true);
    return {{"road", "memory"},
            {"system", "vexa"},
            {"topics", topics},
            {"allocatedForListener", listener.perTopic},
            {"allocatedForListenerAfterCut", listener.perTopicAfterCut},
            {"allocatedForStream", stream.perTopic},
            {"allocatedForStreamAfterCut", stream.perTopicAfterCut},
            {"allocatedForStreamOnTop", stream.perTopic - listener.perTopic}};
}

} // namespace

int main(int count, char** words)
{
    std::uint64_t topics = 100'000;
    return roadMain(count, words, {{"--topics", &topics, "How many topics"}}, {"virtual"},
                    [&](const std::string& /*mode*/) { return measure(topics); });
}
