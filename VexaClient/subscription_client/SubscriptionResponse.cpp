#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/subscription_client/SubscriptionResponse.hpp>

namespace vexa {

TopicResponse topicResponse(const Dictionary& entry) noexcept
{
    return {boolAt(entry, "success").value_or(false), stringAt(entry, "subscriptionId"), stringAt(entry, "error"),
            stringAt(entry, "errorMessage")};
}

} // namespace vexa
