#include <VexaClient/subscription_client/ClientTables.hpp>

#include <utility>

namespace vexa {

SubscriptionRoute* ClientTables::route(std::string_view subscriptionId) const noexcept
{
    const auto found = subscriptionIdToHash_.find(subscriptionId);
    return found != subscriptionIdToHash_.end() ? found->get() : nullptr;
}

TopicSubscription* ClientTables::current(std::string_view hash) const noexcept
{
    const auto found = currentSubscriptions_.find(hash);
    return found != currentSubscriptions_.end() && (*found)->isCurrent ? &(*found)->subscription : nullptr;
}

SubscriptionRoutePointer ClientTables::confirm(const TopicSubscription& topic, std::string_view subscriptionId)
{
    auto known = currentSubscriptions_.find(topic.hash());
    if (known == currentSubscriptions_.end()) {
        known = currentSubscriptions_
                    .insert(std::make_unique<ConfirmedTopic>(
                        ConfirmedTopic{topic, false, removedSubscriptions_.contains(topic.hash()), 0}))
                    .first;
    }
    ConfirmedTopic& confirmed = **known;
    confirmed.subscription = topic;
    currentCount_ += confirmed.isCurrent ? 0 : 1;
    confirmed.isCurrent = true;

    auto route = subscriptionIdToHash_.find(subscriptionId);
    if (route == subscriptionIdToHash_.end()) {
        route =
            subscriptionIdToHash_.insert(boost::intrusive_ptr<SubscriptionRoute>{new SubscriptionRoute{subscriptionId}})
                .first;
    } else {
        --(*route)->topic->routes;
    }
    (*route)->topic = &confirmed;
    ++confirmed.routes;
    return *route;
}

void ClientTables::remove(std::string_view hash)
{
    removedSubscriptions_.emplace(hash);
    if (const auto found = currentSubscriptions_.find(hash); found != currentSubscriptions_.end()) {
        (*found)->isRemoved = true;
    }
}

void ClientTables::restore(std::string_view hash)
{
    const auto found = removedSubscriptions_.find(hash);
    if (found == removedSubscriptions_.end()) {
        return;
    }
    removedSubscriptions_.erase(found);
    if (const auto topic = currentSubscriptions_.find(hash); topic != currentSubscriptions_.end()) {
        (*topic)->isRemoved = false;
    }
}

void ClientTables::takeCurrent(std::vector<TopicSubscription>& topics)
{
    topics.reserve(topics.size() + currentCount_);
    for (const auto& topic : currentSubscriptions_) {
        if (std::exchange(topic->isCurrent, false)) {
            topics.push_back(topic->subscription);
        }
    }
    currentCount_ = 0;
    boost::unordered::erase_if(currentSubscriptions_, [](const auto& topic) { return topic->routes == 0; });
}

TextTable<TopicSubscription> ClientTables::currentSubscriptions() const
{
    TextTable<TopicSubscription> current;
    for (const auto& topic : currentSubscriptions_) {
        if (topic->isCurrent) {
            current.emplace(topic->subscription.hash(), topic->subscription);
        }
    }
    return current;
}

TextTable<std::string> ClientTables::subscriptionIdToHash() const
{
    TextTable<std::string> hashes;
    for (const auto& route : subscriptionIdToHash_) {
        hashes.emplace(route->subscriptionId, route->topic->subscription.hash());
    }
    return hashes;
}

} // namespace vexa
