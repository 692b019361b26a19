#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <utility>

namespace vexa {

TopicSubscription::TopicSubscription(std::string name, const Parameters& params, std::string hash, double moment)
    : updatedAt{moment},
      identity_{std::make_shared<const Identity>(Identity{std::move(name), ownCopy(params), std::move(hash)})}
{}

Dictionary TopicSubscription::asDictionary() const
{
    Dictionary description;
    description.reserve(3);
    description.emplace("name", name());
    if (params()) {
        description.emplace("parameters", *params());
    }
    if (updatedAt > 0) {
        description.emplace("updatedAt", updatedAt);
    }
    return description;
}

} // namespace vexa
