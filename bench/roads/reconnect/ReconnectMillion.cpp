// A million topics on one connection that is cut: the library asks for all of them in one request, and the service,
// which is in the same process here, confirms them in one answer. Measured from the opening of the connection until the
// last is confirmed, with the memory of the process before and after.

#include <bench/roads/shared/ConfirmationLog.hpp>
#include <bench/roads/shared/RoadMain.hpp>
#include <bench/roads/shared/TopicTexts.hpp>
#include <bench/roads/shared/Usage.hpp>
#include <bench/roads/shared/VexaClientSide.hpp>
#include <host/broker/MemoryBroker.hpp>
#include <host/embedded/EmbeddedTransport.hpp>
#include <host/service/VexaService.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>
#include <VexaClient/transport/Kivora.hpp>

#include <malloc.h>

#include <chrono>
#include <memory>
#include <string>
#include <thread>

namespace {

using namespace vexa::bench;

vexa::Dictionary reconnect(std::uint64_t topics, std::uint64_t settleSeconds, const std::string& mode)
{
    vexa::host::MemoryBrokerLimits brokerLimits;
    brokerLimits.topics = topics;
    vexa::host::ServiceLimits serviceLimits;
    serviceLimits.subscriptionsPerSession = topics;
    const auto service =
        std::make_shared<vexa::host::VexaService>(vexa::host::MemoryBroker::make(brokerLimits), serviceLimits);
    ConfirmationLog log;
    const auto transport = vexa::host::EmbeddedTransport::make(service, {.throughText = mode == "text"});
    vexa::Dependencies::shared().oruClient(transport);
    auto& manager = *vexa::VexaOruSubscriptionManager::sharedSubscriptionManager();
    const auto listener = std::make_shared<CallingListener>([](const vexa::Message&) {});
    for (std::uint64_t topic = 0; topic < topics; ++topic) {
        manager.addMessageListener(topicName(topic), std::nullopt, 0, listener);
    }
    transport->open();
    log.await(topics);
    const auto settle = [settleSeconds] {
        // Reports wait for minutes, and hold their topics until they are sent.
        std::this_thread::sleep_for(std::chrono::seconds{settleSeconds});
        malloc_trim(0);
        return MemoryUsage::now();
    };
    const MemoryUsage before = settle();
    transport->close();
    const TimeUsage begin = TimeUsage::now();
    transport->open();
    log.await(2 * topics);
    const TimeUsage used = TimeUsage::now() - begin;
    const MemoryUsage atOnce = MemoryUsage::now();
    const MemoryUsage after = settle();
    return {{"road", "million"},
            {"system", "vexa"},
            {"topics", topics},
            {"seconds", used.wall},
            {"cpuSeconds", used.cpu},
            {"settleSeconds", settleSeconds},
            {"memoryBefore", asDictionary(before)},
            {"memoryAtOnce", asDictionary(atOnce)},
            {"memoryAfter", asDictionary(after)},
            {"allocatedRatio", static_cast<double>(after.allocated) / static_cast<double>(before.allocated)},
            {"residentRatio", static_cast<double>(after.resident) / static_cast<double>(before.resident)}};
}

} // namespace

int main(int count, char** words)
{
    std::uint64_t topics = 1'000'000;
    std::uint64_t settleSeconds = 0;
    return roadMain(count, words,
                    {{"--topics", &topics, "How many topics"},
                     {"--settle", &settleSeconds, "Seconds before the memory is looked at; reports wait for 300"}},
                    {"text", "direct"},
                    [&](const std::string& mode) { return reconnect(topics, settleSeconds, mode); });
}
