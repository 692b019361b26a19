#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <utility>

namespace vexa {

TopicSubscription::TopicSubscription(std::string_view name, const Parameters& params, std::string_view hash,
                                     double moment)
    : identity_{TopicIdentity::make(name, params, hash)}, updatedAt{moment}
{}

TopicSubscription::TopicSubscription(TopicIdentity::Pointer identity, double moment) noexcept
    : identity_{std::move(identity)}, updatedAt{moment}
{}

Dictionary TopicSubscription::asDictionary() const
{
    return topicDescription(*identity_, updatedAt);
}

Dictionary topicDescription(const TopicIdentity& topic, double updatedAt)
{
    Dictionary description;
    description.reserve(3);
    description.emplace("name", topic.name());
    if (topic.params()) {
        description.emplace("parameters", *topic.params());
    }
    if (updatedAt > 0) {
        description.emplace("updatedAt", updatedAt);
    }
    return description;
}

} // namespace vexa
