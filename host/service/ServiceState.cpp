#include <host/service/ServiceState.hpp>
#include <host/wire/RandomName.hpp>

#include <utility>

namespace vexa::host {

ServiceState::ServiceState(std::shared_ptr<Broker> topics, const ServiceLimits& bounds, Platform& outside)
    : platform{outside},
      queue{outside.makeQueue("vexaservice")},
      broker{std::move(topics)},
      limits{bounds},
      serverLogRecords{bounds.keptServerLogRecords},
      echoes{bounds.keptEchoes},
      publications{bounds.knownPublications},
      idPrefix_{randomName(outside) + '-'}
{}

std::string ServiceState::nextSubscriptionId()
{
    return idPrefix_ + std::to_string(++lastSubscription_);
}

} // namespace vexa::host
