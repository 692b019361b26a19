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

std::optional<std::string> ownText(std::optional<std::string_view> text)
{
    return text ? std::optional<std::string>{*text} : std::nullopt;
}

/// What the report says of one answered topic.
SubscriptionResponseReport::Record recordOf(const TopicSubscription& topic, const TopicResponse& answer)
{
    SubscriptionResponseReport::Record record{topic, answer.success, std::nullopt, std::nullopt, std::nullopt};
    if (!answer.success) {
        record.error = answer.error.value_or("UnknownSubscriptionError");
        record.errorMessage = answer.errorMessage.value_or("Subscription response 'success' was false");
    } else if (answer.subscriptionId) {
        record.subscriptionId = ownText(answer.subscriptionId);
    } else {
        record.error = "UnknownSubscriptionError";
        record.errorMessage = "Subscription response 'success' was true, but missing 'subscriptionId'";
    }
    return record;
}

} // namespace

void VexaOruClient::handleMessage(Message message)
{
    if (message == nullptr) {
        return;
    }
    queue_->async([self = shared_from_this(), message = std::move(message)] { self->dispatch(message); });
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
        if (answer.success && answer.subscriptionId) {
            confirm(pending[i], *answer.subscriptionId);
        }
        report.records.push_back(recordOf(pending[i], answer));
    }
    sendServerLog(std::move(report));
}

void VexaOruClient::confirm(const TopicSubscription& topic, std::string_view subscriptionId)
{
    platform_.log(joined({"Subscription response: TopicHash: ", topic.hash(), ", SubId: ", subscriptionId}));
    state_.currentSubscriptions.insert_or_assign(topic.hash(), topic);

    const auto known = state_.subscriptionIdToHash.find(subscriptionId);
    if (known != state_.subscriptionIdToHash.end()) {
        known->second.hash = topic.hash();
        return;
    }
    auto id = std::make_shared<const std::string>(subscriptionId);
    const std::string_view key = *id;
    state_.subscriptionIdToHash.emplace(key, Route{std::move(id), topic.hash()});
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

void VexaOruClient::sendServerLog(DiagnosticReport report)
{
    const double delay = uniformBetween(platform_, shortestReportDelay, longestReportDelay);
    auto receiver = logger();
    if (receiver == nullptr) {
        return;
    }
    // The item holds no reference to the client: what is scheduled is sent even when the client is gone.
    queue_->asyncAfter(delay, [&platform = platform_, receiver = std::move(receiver), report = std::move(report)] {
        callHost(platform, "OruClientLogger::serverLog", [&] { receiver->serverLog("vexa", asDictionary(report), 0); });
    });
}

} // namespace vexa
