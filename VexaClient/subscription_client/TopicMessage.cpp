#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/subscription_client/TopicMessage.hpp>

namespace vexa {

TopicMessage topicMessage(const Dictionary& entry) noexcept
{
    TopicMessage message{stringAt(entry, "subscriptionId"), std::nullopt, false,
                         boolAt(entry, "replayed").value_or(false)};
    if (const Dictionary* payload = dictionaryAt(entry, "payload")) {
        message.updatedAt = doubleAt(*payload, "updatedAt");
        message.isTerminating = boolAt(*payload, "isTerminating").value_or(false);
    }
    return message;
}

} // namespace vexa
