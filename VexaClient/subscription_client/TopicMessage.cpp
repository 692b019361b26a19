#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/subscription_client/TopicMessage.hpp>

namespace vexa {

namespace {

/// Up to how many members a dictionary is read member by member, which is quicker than to search it for each key.
constexpr std::size_t fewMembers = 16;

void readPayload(const Dictionary& payload, TopicMessage& message) noexcept
{
    if (payload.size() > fewMembers) {
        message.updatedAt = doubleAt(payload, "updatedAt");
        message.isTerminating = boolAt(payload, "isTerminating").value_or(false);
        return;
    }
    for (const auto& [key, value] : payload) {
        if (key == "updatedAt") {
            message.updatedAt = asDouble(value);
        } else if (key == "isTerminating") {
            message.isTerminating = asBool(value).value_or(false);
        }
    }
}

} // namespace

TopicMessage topicMessage(const Dictionary& entry) noexcept
{
    TopicMessage message{std::nullopt, std::nullopt, false, false};
    if (entry.size() > fewMembers) {
        message.subscriptionId = stringAt(entry, "subscriptionId");
        message.replayed = boolAt(entry, "replayed").value_or(false);
        if (const Dictionary* payload = dictionaryAt(entry, "payload")) {
            readPayload(*payload, message);
        }
        return message;
    }
    for (const auto& [key, value] : entry) {
        if (key == "subscriptionId") {
            message.subscriptionId = asString(value);
        } else if (key == "payload") {
            if (const Dictionary* payload = value.if_object()) {
                readPayload(*payload, message);
            }
        } else if (key == "replayed") {
            message.replayed = asBool(value).value_or(false);
        }
    }
    return message;
}

} // namespace vexa
