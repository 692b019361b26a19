#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Random.hpp>
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/subscription_client/SubscriptionResponse.hpp>
#include <VexaClient/subscription_client/VexaOruClient.hpp>

#include <utility>

namespace vexa {

namespace {

/// After how many seconds without an answer a request is reported as timed out.
constexpr double responseTimeout = 60.0;

/// Between how many seconds a diagnostic report waits before it is sent, the upper bound excluded.
constexpr double shortestReportDelay = 5.0;
constexpr double longestReportDelay = 300.0;

/// Why an answered topic is not subscribed; null when it is.
std::shared_ptr<const SubscriptionResponseReport::Failure> failureOf(const TopicResponse& answer)
{
    using Failure = SubscriptionResponseReport::Failure;
    if (!answer.success) {
        return std::make_shared<const Failure>(
            Failure{std::string{answer.error.value_or("UnknownSubscriptionError")},
                    std::string{answer.errorMessage.value_or("Subscription response 'success' was false")}});
    }
    if (!answer.subscriptionId) {
        return std::make_shared<const Failure>(Failure{
            "UnknownSubscriptionError", "Subscription response 'success' was true, but missing 'subscriptionId'"});
    }
    return nullptr;
}

} // namespace

void VexaOruClient::handleMessage(Message message)
{
    if (message == nullptr) {
        return;
    }
    // A data message calls nobody but a transport, while all else may have much to write to the log.
    const bool isData = stringAt(*message, "type") == "data";
    auto dispatching = [self = shared_from_this(), message = std::move(message)] { self->dispatch(message); };
    if (isData) {
        queue_->asyncPrompt(std::move(dispatching));
    } else {
        queue_->async(std::move(dispatching));
    }
}

void VexaOruClient::messageListenerRemoved(std::int64_t) {}

void VexaOruClient::dispatch(const Message& message)
{
    const auto type = stringAt(*message, "type");
    if (type == "subscriptionResponse" || type == "subscribeResponse") {
        handleSubscriptionResponse(*message);
    } else if (type == "data") {
        handleDataMessage(message);
    }
}

void VexaOruClient::handleSubscriptionResponse(const Dictionary& response)
{
    const auto operationId = stringAt(response, "operationId");
    if (!operationId) {
        platform_.log("missing 'operationId' in subscription response");
        return;
    }
    const List* topics = dictionariesAt(response, "topics");
    if (topics == nullptr) {
        platform_.log("missing 'topics' in subscription response");
        return;
    }
    const auto operation = state_.pendingSubscriptions.find(*operationId);
    if (operation == state_.pendingSubscriptions.end()) {
        platform_.log(
            joined({"no pending topics for ", *operationId, ", most likely connectionOpened function was called."}));
        return;
    }

    const auto answered = state_.pendingSubscriptions.extract(operation);
    const std::vector<TopicSubscription>& pending = answered.mapped();
    if (state_.pendingSubscriptions.empty()) {
        platform_.log("subscriptions all accounted for, reseting retry count");
        state_.subscriptionRetryCount = 0;
    }
    if (topics->size() != pending.size()) {
        platform_.log(joined({"mismatched count expected ", std::to_string(pending.size()), " but got ",
                              std::to_string(topics->size())}));
        return;
    }
    platform_.log(joined({"Processing responses for ", *operationId}));
    settle(answered.key(), pending, *topics);
}

void VexaOruClient::settle(const std::string& operationId, const std::vector<TopicSubscription>& pending,
                           const List& topics)
{
    SubscriptionResponseReport report{operationId, isVisible(), {}};
    report.records.reserve(pending.size());
    for (std::size_t i = 0; i < pending.size(); ++i) {
        const TopicResponse answer = topicResponse(topics[i].get_object());
        SubscriptionResponseReport::Record record{pending[i], answer.success, nullptr, failureOf(answer)};
        if (answer.success && answer.subscriptionId) {
            record.route = confirm(pending[i], *answer.subscriptionId);
        }
        report.records.push_back(std::move(record));
    }
    sendServerLog(std::move(report));
}

SubscriptionRoutePointer VexaOruClient::confirm(const TopicSubscription& topic, std::string_view subscriptionId)
{
    platform_.log(joined({"Subscription response: TopicHash: ", topic.hash(), ", SubId: ", subscriptionId}));
    return tables_.confirm(topic, subscriptionId);
}

void VexaOruClient::logTimedOutSubscriptions()
{
    const double now = platform_.now();
    if (now - state_.pendingSubTime < responseTimeout) {
        return;
    }
    state_.pendingSubTime = now;
    const bool visible = isVisible();
    for (const auto& [id, topics] : state_.pendingSubscriptions) {
        if (state_.loggedOperationIds.insert(id).second) {
            sendServerLog(TimeoutReport{id, visible, state_.subscriptionRetryCount, topics});
        }
    }
}

template <class Report>
void VexaOruClient::sendServerLog(Report report)
{
    const double delay = uniformBetween(platform_, shortestReportDelay, longestReportDelay);
    auto receiver = logger();
    if (receiver == nullptr) {
        return;
    }
    // The item holds no reference to the client: what is scheduled is sent even when the client is gone.
    queue_->asyncAfter(delay, [&platform = platform_, receiver = std::move(receiver), report = std::move(report)] {
        callHost(platform, "OruClientLogger::serverLog",
                 [&] { receiver->serverLog("vexa", report.asDictionary(), 0); });
    });
}

template void VexaOruClient::sendServerLog(DeliveryReport report);

} // namespace vexa
