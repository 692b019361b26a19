#include <host/service/ServiceState.hpp>
#include <host/wire/RandomName.hpp>

#include <utility>

namespace vexa::host {

ServiceState::ServiceState(std::shared_ptr<Broker> topicBroker, const ServiceLimits& bounds, Platform& outside)
    : platform{outside},
      queue{outside.makeQueue("vexaservice")},
      broker{std::move(topicBroker)},
      limits{bounds},
      serverLogRecords{bounds.keptServerLogRecords},
      echoes{bounds.keptEchoes},
      publications{bounds.knownPublications},
      topics{bounds.countedTopics},
      idPrefix_{randomName(outside) + '-'}
{}

void ServiceState::countPublication(const TopicKey& topic, const PublishResult& result)
{
    if (result.accepted > 0) {
        figures.published += result.accepted;
        topics.published(topic, result.accepted, platform.now(), platform.monotonicNow());
    }
}

std::string ServiceState::nextSubscriptionId()
{
    return idPrefix_ + std::to_string(++lastSubscription_);
}

} // namespace vexa::host
