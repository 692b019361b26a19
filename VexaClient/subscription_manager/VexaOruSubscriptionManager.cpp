#include <VexaClient/platform/Fatal.hpp>
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>
#include <VexaClient/subscription_manager/VexaOruSubscriptionManager.hpp>

#include <boost/json/serialize.hpp>

#include <limits>
#include <utility>

namespace vexa {

namespace {

std::string rendering(const Parameters& params)
{
    return params ? optionalDisplay(boost::json::serialize(*params)) : std::string{"nil"};
}

std::vector<std::int64_t> idsOf(const SubscriptionListeners& list)
{
    std::vector<std::int64_t> ids;
    ids.reserve(list.listeners.size());
    for (const ListedListener& each : list.listeners) {
        ids.push_back(each.listenerId);
    }
    return ids;
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
        std::vector<std::int64_t> ids;
        if (const auto* found = tables_.listenersOf(client_->subscriptionHash(name, params))) {
            ids = idsOf(*found);
        }
        return ids;
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
    queue_->async([self = shared_from_this(), hash = std::string{hash}, message = message, isTerminating]() mutable {
        FanOut fanOut;
        self->deliverToListeners(hash, std::move(message), isTerminating, fanOut);
        self->call(std::move(fanOut));
    });
}

void VexaOruSubscriptionManager::batchFeed(FedBatch batch)
{
    // One item for the batch: what each message does follows what the one before it did, as by items of their own.
    queue_->asyncPrompt([self = shared_from_this(), batch = std::move(batch)]() mutable {
        FanOut fanOut;
        for (FedMessage& each : batch) {
            self->deliverToListeners(each.topic->hash(), std::move(each.message), each.isTerminating, fanOut);
        }
        self->call(std::move(fanOut));
    });
}

VexaOruSubscriptionManager::State VexaOruSubscriptionManager::state()
{
    return queue_->sync([&] {
        State state;
        state.nextListenerId = nextListenerId_;
        tables_.showRecords([&state](std::int64_t listenerId, const SubscriptionListeners& list) {
            state.listenersById.emplace(listenerId, ListenerRecord{list.hash, listenerId, nullptr});
        });
        tables_.showLists([&state](const SubscriptionListeners& list) {
            state.listenersBySub.emplace(list.hash, idsOf(list));
            for (const ListedListener& each : list.listeners) {
                state.listenersById.at(each.listenerId).listener = each.listener;
            }
        });
        return state;
    });
}

std::int64_t VexaOruSubscriptionManager::addListener(std::string_view name, const Parameters& params, double updatedAt,
                                                     std::shared_ptr<VexaSubscriptionListener> listener)
{
    if (listener == nullptr) {
        platform_.log("Cannot add no-listener");
        return 0;
    }
    platform_.log(joined({"Creating subscription ", name, " - ", rendering(params)}));
    const std::string hash = client_->createSubscription(name, params, updatedAt);

    if (nextListenerId_ == std::numeric_limits<std::int64_t>::max()) {
        fatal("the subscription manager has run out of listener ids");
    }
    const std::int64_t listenerId = nextListenerId_++;
    SubscriptionListeners& list = tables_.listFor(hash);
    platform_.log(list.listeners.empty() ? "setting listener" : "Adding new listener to existing sub");
    tables_.add(list, listenerId, std::move(listener));
    return listenerId;
}

void VexaOruSubscriptionManager::removeListener(std::int64_t listenerId)
{
    if (listenerId == 0) {
        platform_.log("Cannot remove no-listener");
        return;
    }
    const auto hash = tables_.hashOf(listenerId);
    if (!hash) {
        platform_.log(joined({"No subscription registered for ", decimal(listenerId)}));
        return;
    }
    if (SubscriptionListeners* list = tables_.listenersOf(*hash)) {
        removeFromList(*list, listenerId);
    }
    tables_.deleteRecord(listenerId);
}

void VexaOruSubscriptionManager::removeFromList(SubscriptionListeners& list, std::int64_t listenerId)
{
    if (auto listener = ListenerTables::takeOut(list, listenerId)) {
        platform_.log(joined({"removing listener ", decimal(listenerId)}));
        // Dropped on the callback queue: if this reference is the last, code of the host runs.
        cbq_->async([&platform = platform_, listener = std::move(listener)]() mutable {
            const HostCode scope{platform};
            listener.reset();
        });
    }
    if (!list.listeners.empty()) {
        platform_.log("still had other listeners");
        return;
    }
    platform_.log("removing subscription");
    client_->removeSubscription(list.hash);
    tables_.deleteList(list);
}

void VexaOruSubscriptionManager::deliverToListeners(std::string_view hash, Message message, bool isTerminating,
                                                    FanOut& fanOut)
{
    const SubscriptionListeners* const list = tables_.listenersOf(hash);
    if (list == nullptr) {
        platform_.log(joined({"no listeners registered for ", hash}));
        return;
    }
    fanOut.add(std::move(message), isTerminating);
    for (const ListedListener& each : list->listeners) {
        if (each.listener == nullptr) {
            platform_.log("we had listeners registerd but no sub?");
            continue;
        }
        fanOut.addReceiver(each.listener, each.returnsPromptly);
    }
    if (isTerminating) {
        // The removals change the list.
        for (const std::int64_t listenerId : idsOf(*list)) {
            removeListener(listenerId);
        }
    }
}

void VexaOruSubscriptionManager::call(FanOut fanOut)
{
    if (fanOut.isEmpty()) {
        return;
    }
    // One item for all: the listeners are called in their order, one at a time, as by items of their own.
    const bool isPrompt = fanOut.returnsPromptly();
    auto calling = [&platform = platform_, fanOut = std::move(fanOut)]() mutable { fanOut.callListeners(platform); };
    if (isPrompt) {
        cbq_->asyncPrompt(std::move(calling));
    } else {
        cbq_->async(std::move(calling));
    }
}

} // namespace vexa
