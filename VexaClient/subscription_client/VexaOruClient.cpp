#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/SubscriptionHash.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>

#include <utility>

namespace vexa {

std::shared_ptr<VexaOruClient> VexaOruClient::make(Platform& platform, Dependencies& container)
{
    return std::make_shared<VexaOruClient>(Private{}, platform, container);
}

VexaOruClient::VexaOruClient(Private, Platform& platform, Dependencies& container)
    : platform_{platform},
      _oruClient{&Dependencies::oruClient, container},
      queue_{platform.makeQueue("vexaint", QueueWork::prompt)},
      cbq_{platform.makeQueue("vexacb", QueueWork::prompt)}
{}

std::string VexaOruClient::subscriptionHash(std::string_view name, const Parameters& params)
{
    return vexa::subscriptionHash(name, params);
}

std::string VexaOruClient::createSubscription(std::string_view name, const Parameters& params, double updatedAt)
{
    return queue_->sync([&] { return createOnQueue(name, params, updatedAt); });
}

void VexaOruClient::removeSubscription(std::string_view hash)
{
    queue_->async([self = shared_from_this(), hash = std::string{hash}] { self->remove(hash); });
}

void VexaOruClient::setMessageFeedDelegate(std::shared_ptr<VexaFeed> delegate)
{
    queue_->async([self = shared_from_this(), delegate = std::move(delegate)]() mutable {
        self->batchDelegate_ = dynamic_cast<BatchFeed*>(delegate.get());
        self->state_.delegate.swap(delegate);
        // Dropped on the callback queue: if this reference is the last, code of the host runs.
        self->cbq_->async([&platform = self->platform_, earlier = std::move(delegate)]() mutable {
            const HostCode scope{platform};
            earlier.reset();
        });
    });
}

VexaOruClient::State VexaOruClient::state()
{
    return queue_->sync([&] {
        State copy = state_;
        copy.currentSubscriptions = tables_.currentSubscriptions();
        copy.removedSubscriptions = tables_.removedSubscriptions();
        copy.subscriptionIdToHash = tables_.subscriptionIdToHash();
        return copy;
    });
}

std::string VexaOruClient::createOnQueue(std::string_view name, const Parameters& params, double updatedAt)
{
    platform_.log(joined({"Creating subscription ", name}));
    std::string hash = subscriptionHash(name, params);
    platform_.log(joined({"Subscription hash - ", hash}));
    tables_.restore(hash);

    if (TopicSubscription* topic = tables_.current(hash)) {
        platform_.log("Found existing topic");
        if (updatedAt > 0 && topic->updatedAt < updatedAt) {
            platform_.log(joined({"topic.updatedAt = ", plainDecimal(updatedAt)}));
            topic->updatedAt = updatedAt;
        }
        platform_.log(joined({"Returning ", hash}));
        return hash;
    }

    registerListeners();
    addPendingSubscription(hash, name, params, updatedAt);
    return hash;
}

void VexaOruClient::registerListeners()
{
    if (!state_.messageListenerId) {
        callHost(platform_, "OruClient::addCategoryListener", [this] {
            state_.messageListenerId = _oruClient.wrappedValue()->addCategoryListener("vexa", shared_from_this());
        });
        if (state_.messageListenerId) {
            platform_.log(
                joined({"Registered message listener ", optionalDisplay(decimal(*state_.messageListenerId))}));
        }
    }
    if (!state_.connectionListenerId) {
        callHost(platform_, "OruClient::addConnectionListener", [this] {
            state_.connectionListenerId = _oruClient.wrappedValue()->addConnectionListener(shared_from_this());
        });
        if (state_.connectionListenerId) {
            platform_.log(
                joined({"Registered connection listener ", optionalDisplay(decimal(*state_.connectionListenerId))}));
        }
    }
}

void VexaOruClient::remove(std::string_view hash)
{
    platform_.log(joined({"Removed ", hash}));
    tables_.remove(hash);
}

template <class Answer, class F>
Answer VexaOruClient::askTransport(std::string_view what, Answer otherwise, F&& question)
{
    const std::shared_ptr<OruClient> transport = _oruClient.wrappedValue();
    const auto ask = [&] { otherwise = std::forward<F>(question)(*transport); };
    if (returnsPromptly(transport)) {
        callGuarded(platform_, what, ask);
    } else {
        callHost(platform_, what, ask);
    }
    return otherwise;
}

bool VexaOruClient::returnsPromptly(const std::shared_ptr<OruClient>& transport)
{
    const bool isKnown = !transport.owner_before(lastTransport_) && !lastTransport_.owner_before(transport);
    if (!isKnown) {
        lastTransport_ = transport;
        lastReturnsPromptly_ = dynamic_cast<const ReturnsPromptly*>(transport.get()) != nullptr;
    }
    return lastReturnsPromptly_;
}

bool VexaOruClient::isVisible()
{
    return askTransport("OruClient::isVisible", false, [](OruClient& transport) { return transport.isVisible(); });
}

std::shared_ptr<OruClientLogger> VexaOruClient::logger()
{
    auto logger = askTransport("OruClient::logger", std::shared_ptr<OruClientLogger>{},
                               [](OruClient& transport) { return transport.logger(); });
    if (logger == nullptr) {
        platform_.log("OruClient gave no logger, what was meant for it is dropped");
    }
    return logger;
}

} // namespace vexa
