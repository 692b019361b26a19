#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/SubscribeRequest.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>

#include <utility>

namespace vexa {

namespace {

/// When unanswered requests are looked at, in seconds: first, then every so often, and how late that may be.
constexpr TimerSchedule retrySchedule{.deadline = 3.0, .interval = 3.0, .leeway = 1.0};

/// For how many seconds after a request nothing is sent again.
constexpr double retryHoldOff = 5.0;

/// The highest retry count at which requests are still sent again.
constexpr std::int64_t lastRetry = 4;

} // namespace

std::string VexaOruClient::nextOperation()
{
    return operationId(++state_.nextOperationId);
}

void VexaOruClient::addPendingSubscription(std::string_view hash, std::string_view name, const Parameters& params,
                                           double updatedAt)
{
    std::string id = nextOperation();
    std::vector<TopicSubscription> topics;
    topics.emplace_back(name, params, hash, updatedAt);
    state_.pendingSubscriptions.emplace(id, std::move(topics));

    // An item of its own: the request leaves after the creating call has returned, and never on its thread.
    queue_->async([self = shared_from_this(), id = std::move(id)] {
        self->platform_.log(joined({"Sending subscription request with ", id}));
        self->sendSubscriptionRequest(id);
    });
}

void VexaOruClient::sendSubscriptionRequest(const std::string& operationId)
{
    const bool open =
        askHost(platform_, "OruClient::isOpen", false, [this] { return _oruClient.wrappedValue()->isOpen(); });
    if (!open) {
        platform_.log(joined({"OruClient is not open, delaying ", operationId}));
        return;
    }
    const auto pending = state_.pendingSubscriptions.find(operationId);
    if (pending == state_.pendingSubscriptions.end()) {
        return;
    }

    Dictionary request = subscribeRequest(operationId, pending->second);
    platform_.log(joined({"Sending subscription request ", requestRendering(request)}));
    callHost(platform_, "OruClient::send", [&] { _oruClient.wrappedValue()->send(std::move(request)); });
    state_.pendingSubTime = platform_.now();
    startPendingSubTimer();
}

void VexaOruClient::startPendingSubTimer()
{
    if (state_.pendingSubTimer != nullptr) {
        return;
    }
    // The handler keeps the client alive until the timer is cancelled.
    state_.pendingSubTimer =
        queue_->startTimer(retrySchedule, [self = shared_from_this()] { self->retryPendingSubscriptions(); });
}

void VexaOruClient::cancelPendingSubTimer()
{
    if (const auto timer = std::exchange(state_.pendingSubTimer, nullptr)) {
        timer->cancel();
    }
}

void VexaOruClient::retryPendingSubscriptions()
{
    if (platform_.now() - state_.pendingSubTime < retryHoldOff) {
        return;
    }
    if (state_.subscriptionRetryCount > lastRetry || state_.pendingSubscriptions.empty()) {
        cancelPendingSubTimer();
    } else {
        for (const auto& [id, topics] : state_.pendingSubscriptions) {
            if (const auto console = logger()) {
                callHost(platform_, "OruClientLogger::consoleLog",
                         [&] { console->consoleLog(joined({"VEXA: Retrying ", id})); });
            }
            sendSubscriptionRequest(id);
        }
    }
    ++state_.subscriptionRetryCount;
    logTimedOutSubscriptions();
}

void VexaOruClient::connectionOpened()
{
    queue_->async([self = shared_from_this()] {
        self->platform_.log("All subscriptions reverted to pending");
        self->revertSubscriptionsToPending();
        for (const auto& [id, topics] : self->state_.pendingSubscriptions) {
            self->sendSubscriptionRequest(id);
        }
    });
}

void VexaOruClient::connectionClosed() {}

void VexaOruClient::revertSubscriptionsToPending()
{
    std::vector<TopicSubscription> topics;
    tables_.takeCurrent(topics);
    for (auto& [id, pending] : state_.pendingSubscriptions) {
        topics.insert(topics.end(), pending.begin(), pending.end());
    }
    state_.pendingSubscriptions.clear();
    state_.pendingSubscriptions.emplace(nextOperation(), std::move(topics));
}

} // namespace vexa
