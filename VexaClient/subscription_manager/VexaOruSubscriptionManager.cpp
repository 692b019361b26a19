#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <limits>
#include <utility>

namespace vexa {

namespace {

std::string rendering(const Parameters& params)
{
    return params ? optionalDisplay(boost::json::serialize(*params)) : std::string{"nil"};
}

void callListener(Platform& platform, VexaSubscriptionListener& listener, const Message& message, bool isTerminating)
{
    callHost(platform, "VexaSubscriptionListener::messageReceived",
             [&] { listener.messageReceived(message, isTerminating); });
}

} // namespace

const std::shared_ptr<VexaOruSubscriptionManager>& VexaOruSubscriptionManager::sharedSubscriptionManager()
{
    static const auto* const manager = new std::shared_ptr<VexaOruSubscriptionManager>{make()};
    return *manager;
}

std::shared_ptr<VexaOruSubscriptionManager> VexaOruSubscriptionManager::make(Platform& platform,
                                                                             Dependencies& container)
{
    auto manager = std::make_shared<VexaOruSubscriptionManager>(Private{}, platform);
    manager->client_ = VexaOruClient::make(platform, container);
    manager->client_->setMessageFeedDelegate(manager);
    return manager;
}

std::shared_ptr<VexaOruSubscriptionManager> VexaOruSubscriptionManager::make(Platform& platform,
                                                                             std::shared_ptr<VexaClient> client)
{
    auto manager = std::make_shared<VexaOruSubscriptionManager>(Private{}, platform);
    manager->client_ = std::move(client);
    manager->client_->setMessageFeedDelegate(manager);
    return manager;
}

VexaOruSubscriptionManager::VexaOruSubscriptionManager(Private, Platform& platform)
    : platform_{platform},
      queue_{platform.makeQueue("vexasubiq", QueueWork::prompt)},
      cbq_{platform.makeQueue("vexacbq", QueueWork::prompt)}
{}

std::string VexaOruSubscriptionManager::subscriptionHash(std::string_view name, const Parameters& params)
{
    return client_->subscriptionHash(name, params);
}

std::vector<std::int64_t> VexaOruSubscriptionManager::anyListenersFor(std::string_view name, const Parameters& params)
{
    return queue_->sync([&] {
        const auto listeners = state_.listenersBySub.find(client_->subscriptionHash(name, params));
        return listeners != state_.listenersBySub.end() ? listeners->second : std::vector<std::int64_t>{};
    });
}

std::int64_t VexaOruSubscriptionManager::addMessageListener(std::string_view name, const Parameters& params,
                                                            double updatedAt,
                                                            std::shared_ptr<VexaSubscriptionListener> listener)
{
    return queue_->sync([&] { return addListener(name, params, updatedAt, std::move(listener)); });
}

void VexaOruSubscriptionManager::removeMessageListener(std::int64_t listenerId)
{
    queue_->async([self = shared_from_this(), listenerId] { self->removeListener(listenerId); });
}

void VexaOruSubscriptionManager::messageFeed(std::string_view hash, const Message& message, bool isTerminating)
{
    queue_->async([self = shared_from_this(), hash = std::string{hash}, message, isTerminating] {
        self->deliverToListeners(hash, message, isTerminating);
    });
}

VexaOruSubscriptionManager::State VexaOruSubscriptionManager::state()
{
    return queue_->sync([&] { return state_; });
}

std::int64_t VexaOruSubscriptionManager::addListener(std::string_view name, const Parameters& params, double updatedAt,
                                                     std::shared_ptr<VexaSubscriptionListener> listener)
{
    if (listener == nullptr) {
        platform_.log("Cannot add no-listener");
        return 0;
    }
    platform_.log(joined({"Creating subscription ", name, " - ", rendering(params)}));
    std::string hash = client_->createSubscription(name, params, updatedAt);

    if (state_.nextListenerId == std::numeric_limits<std::int64_t>::max()) {
        fatal("the subscription manager has run out of listener ids");
    }
    const std::int64_t listenerId = state_.nextListenerId++;
    std::vector<std::int64_t>& listeners = state_.listenersBySub[hash];
    platform_.log(listeners.empty() ? "setting listener" : "Adding new listener to existing sub");
    listeners.push_back(listenerId);
    state_.listenersById.emplace(listenerId, ListenerRecord{std::move(hash), listenerId, std::move(listener)});
    return listenerId;
}

void VexaOruSubscriptionManager::removeListener(std::int64_t listenerId)
{
    if (listenerId == 0) {
        platform_.log("Cannot remove no-listener");
        return;
    }
    const auto found = state_.listenersById.find(listenerId);
    if (found == state_.listenersById.end()) {
        platform_.log(joined({"No subscription registered for ", decimal(listenerId)}));
        return;
    }
    removeFromSubscription(found->second.hash, listenerId);
    // Dropped on the callback queue: if this reference is the last, code of the host runs.
    cbq_->async([&platform = platform_, listener = std::move(found->second.listener)]() mutable {
        const HostCode scope{platform};
        listener.reset();
    });
    state_.listenersById.erase(found);
}

void VexaOruSubscriptionManager::removeFromSubscription(const std::string& hash, std::int64_t listenerId)
{
    const auto subscription = state_.listenersBySub.find(hash);
    if (subscription == state_.listenersBySub.end()) {
        return;
    }
    std::vector<std::int64_t>& listeners = subscription->second;
    const auto listed = std::ranges::find(listeners, listenerId);
    if (listed != listeners.end()) {
        platform_.log(joined({"removing listener ", decimal(listenerId)}));
        listeners.erase(listed);
    }
    if (!listeners.empty()) {
        platform_.log("still had other listeners");
        return;
    }
    platform_.log("removing subscription");
    client_->removeSubscription(hash);
    state_.listenersBySub.erase(subscription);
}

void VexaOruSubscriptionManager::deliverToListeners(std::string_view hash, const Message& message, bool isTerminating)
{
    const auto subscription = state_.listenersBySub.find(hash);
    if (subscription == state_.listenersBySub.end()) {
        platform_.log(joined({"no listeners registered for ", hash}));
        return;
    }
    std::vector<std::shared_ptr<VexaSubscriptionListener>> receivers;
    receivers.reserve(subscription->second.size());
    const auto visit = [&](std::int64_t listenerId) {
        const auto found = state_.listenersById.find(listenerId);
        if (found == state_.listenersById.end()) {
            platform_.log("we had listeners registerd but no sub?");
            return;
        }
        receivers.push_back(found->second.listener);
        if (isTerminating) {
            removeListener(listenerId);
        }
    };
    if (isTerminating) {
        // The removals change the list.
        const std::vector<std::int64_t> snapshot = subscription->second;
        std::ranges::for_each(snapshot, visit);
    } else {
        std::ranges::for_each(subscription->second, visit);
    }
    call(std::move(receivers), message, isTerminating);
}

void VexaOruSubscriptionManager::call(std::vector<std::shared_ptr<VexaSubscriptionListener>> listeners,
                                      const Message& message, bool isTerminating)
{
    // One item for the message: the listeners are called in their order, one at a time, as by items of their own.
    cbq_->async([&platform = platform_, listeners = std::move(listeners), message, isTerminating]() mutable {
        for (auto& listener : listeners) {
            callListener(platform, *listener, message, isTerminating);
            const HostCode scope{platform};
            listener.reset();
        }
    });
}

} // namespace vexa
