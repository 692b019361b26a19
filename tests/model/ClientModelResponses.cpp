#include "tests/model/ClientModel.hpp"
#include "tests/model/LooseValues.hpp"

namespace vexa::model {

namespace {

constexpr double responseTimeout = 60.0;

Dictionary reportOf(const char* key, List records)
{
    Dictionary report;
    report[key] = std::move(records);
    return report;
}

} // namespace

bool ClientModel::askVisible()
{
    const bool isVisible = host_.isVisible();
    count_(isVisible ? Rule::visibleYes : Rule::visibleNo);
    return isVisible;
}

void ClientModel::dispatch(const Message& message)
{
    const auto type = textIn(*message, "type");
    if (!type) {
        count_(Rule::typeMissing);
    } else if (*type == "subscriptionResponse") {
        respond(*message);
    } else if (*type == "subscribeResponse") {
        count_(Rule::responseOtherType);
        respond(*message);
    } else if (*type == "data") {
        deliver(message);
    } else {
        count_(Rule::typeUnknown);
    }
}

void ClientModel::respond(const Dictionary& response)
{
    const auto id = textIn(response, "operationId");
    if (!id) {
        host_.log("missing 'operationId' in subscription response");
        count_(Rule::responseWithoutOperation);
        return;
    }
    const List* entries = dictionariesIn(response, "topics");
    if (entries == nullptr) {
        host_.log("missing 'topics' in subscription response");
        count_(Rule::responseWithoutTopics);
        return;
    }
    const auto found = pending_.find(*id);
    if (found == pending_.end()) {
        host_.log("no pending topics for " + *id + ", most likely connectionOpened function was called.");
        count_(Rule::responseUnknown);
        return;
    }
    const std::vector<ModelTopic> topics = found->second.topics;
    pending_.erase(found);
    if (pending_.empty()) {
        host_.log("subscriptions all accounted for, reseting retry count");
        count_(Rule::responseEmptied);
        if (retryCount_ > 0) {
            count_(Rule::responseResetsCount);
        }
        retryCount_ = 0;
    } else {
        count_(Rule::responseLeavesOthers);
    }
    if (entries->size() != topics.size()) {
        host_.log("mismatched count expected " + std::to_string(topics.size()) + " but got " +
                  std::to_string(entries->size()));
        count_(entries->size() < topics.size() ? Rule::responseTooFew : Rule::responseTooMany);
        return;
    }
    host_.log("Processing responses for " + *id);
    count_(Rule::responseProcessed);
    if (topics.empty()) {
        count_(Rule::responseEmptyList);
    }
    if (loggedOperations_.contains(*id)) {
        count_(Rule::responseAfterTimeout);
    }
    const bool isVisible = askVisible();
    List records;
    for (std::size_t i = 0; i < topics.size(); ++i) {
        records.push_back(Value(answer(*id, topics[i], (*entries)[i].get_object(), isVisible)));
    }
    reports_.schedule(reportOf("vexaSubscriptionResponses", std::move(records)));
}

Dictionary ClientModel::answer(const std::string& id, const ModelTopic& topic, const Dictionary& entry, bool isVisible)
{
    const bool isSuccess = truthIn(entry, "success");
    Dictionary record;
    record["operationId"] = id;
    record["status"] = isSuccess ? "success" : "fail";
    record["topic"] = topic.description();
    record["visible"] = isVisible;
    const auto subscriptionId = textIn(entry, "subscriptionId");
    if (!isSuccess) {
        const auto error = textIn(entry, "error");
        const auto message = textIn(entry, "errorMessage");
        record["error"] = error.value_or("UnknownSubscriptionError");
        record["errorMessage"] = message.value_or("Subscription response 'success' was false");
        count_(!error ? Rule::answerFailedBare : message ? Rule::answerFailed : Rule::answerFailedNoMessage);
    } else if (subscriptionId) {
        record["subscriptionId"] = *subscriptionId;
        confirm(topic, *subscriptionId);
    } else {
        record["error"] = "UnknownSubscriptionError";
        record["errorMessage"] = "Subscription response 'success' was true, but missing 'subscriptionId'";
        count_(Rule::answerWithoutId);
    }
    return record;
}

void ClientModel::confirm(const ModelTopic& topic, const std::string& subscriptionId)
{
    host_.log("Subscription response: TopicHash: " + topic.hash + ", SubId: " + subscriptionId);
    count_(Rule::answerSuccess);
    if (removed_.contains(topic.hash)) {
        count_(Rule::answerSuccessRemoved);
    }
    if (current_.contains(topic.hash)) {
        count_(Rule::answerReplacesCurrent);
    }
    if (const auto known = hashOfId_.find(subscriptionId); known != hashOfId_.end()) {
        count_(known->second == topic.hash ? Rule::answerIdSame : Rule::answerIdUsed);
    }
    current_.insert_or_assign(topic.hash, topic);
    hashOfId_[subscriptionId] = topic.hash;
}

void ClientModel::reportTimeouts()
{
    const double now = replay_.wall();
    if (now - pendingSubTime_ < responseTimeout) {
        count_(Rule::timeoutTooEarly);
        return;
    }
    pendingSubTime_ = now;
    const bool isVisible = askVisible();
    // Any order would do; the client documents that it takes the oldest operation first.
    for (const auto& [id, operation] : pending_) {
        if (!loggedOperations_.insert(id).second) {
            count_(Rule::timeoutOnce);
            continue;
        }
        List records;
        for (const ModelTopic& each : operation.topics) {
            Dictionary record;
            record["topic"] = each.description();
            record["status"] = "fail";
            record["operationId"] = id;
            record["error"] = "SubscriptionTimeoutError";
            record["visible"] = isVisible;
            record["errorMessage"] = "Subscription timed out";
            record["retries"] = retryCount_;
            records.push_back(Value(std::move(record)));
        }
        count_(records.empty() ? Rule::timeoutReportEmpty : Rule::timeoutReport);
        reports_.schedule(reportOf("vexaSubscriptionResponses", std::move(records)), !operation.unordered.empty());
    }
}

void ClientModel::deliver(const Message& batch)
{
    const List* entries = dictionariesIn(*batch, "messages");
    if (entries == nullptr) {
        count_(Rule::dataWithoutList);
        return;
    }
    count_(entries->empty() ? Rule::dataEmpty : entries->size() == 1 ? Rule::dataSingle : Rule::dataBatch);

    struct Delivery {
        std::string hash;
        Message message;
        bool isTerminating;
    };
    std::vector<Delivery> deliveries;
    std::set<std::string> terminated;
    for (const Value& value : *entries) {
        const Dictionary& entry = value.get_object();
        const auto id = textIn(entry, "subscriptionId");
        if (!id) {
            count_(Rule::entryWithoutId);
            continue;
        }
        const auto hash = hashOfId_.find(*id);
        if (hash == hashOfId_.end()) {
            count_(Rule::entryUnknown);
            continue;
        }
        const auto topic = current_.find(hash->second);
        if (topic == current_.end()) {
            count_(Rule::entryNotCurrent);
            continue;
        }
        const bool isRemoved = removed_.contains(hash->second);
        bool isTerminating = false;
        if (const Dictionary* payload = dictionaryIn(entry, "payload")) {
            isTerminating = truthIn(*payload, "isTerminating");
            const auto updatedAt = numberIn(*payload, "updatedAt");
            if (updatedAt && *updatedAt > topic->second.updatedAt) {
                topic->second.updatedAt = *updatedAt;
                count_(isRemoved ? Rule::entryRaisesRemoved : Rule::entryRaises);
            } else if (updatedAt) {
                count_(Rule::entryDoesNotRaise);
            }
        }
        if (isRemoved) {
            host_.log("Subscription for " + *id + " was previously removed, not notifying");
            count_(Rule::entryWithheld);
            continue;
        }
        if (terminated.contains(hash->second)) {
            count_(Rule::entryAfterTerminating);
        }
        if (isTerminating) {
            terminated.insert(hash->second);
        }
        deliveries.push_back({hash->second, Message{batch, &entry}, isTerminating});
    }

    reportDelivery(*batch, *entries);

    for (const Delivery& each : deliveries) {
        if (feed_ != 0) {
            feedTasks.push_back({feed_, each.hash, each.message, each.isTerminating});
            count_(Rule::entryDelivered);
        } else {
            count_(Rule::entryWithoutDelegate);
        }
        if (each.isTerminating) {
            count_(feed_ != 0 ? Rule::entryTerminates : Rule::terminatesWithoutDelegate);
            removeNow(each.hash);
        }
    }
}

void ClientModel::reportDelivery(const Dictionary& batch, const List& entries)
{
    const auto sentAt = numberIn(batch, "sentAt");
    count_(sentAt ? Rule::dataSentAt : Rule::dataNoSentAt);
    const double receivedAt = replay_.wall();
    const bool isVisible = askVisible();
    List records;
    for (const Value& value : entries) {
        const Dictionary& entry = value.get_object();
        const auto id = textIn(entry, "subscriptionId");
        if (!id) {
            continue;
        }
        const bool isReplayed = truthIn(entry, "replayed");
        count_(isReplayed ? Rule::recordOffline : Rule::recordOnline);
        Dictionary record;
        record["delivery"] = isReplayed ? "offline" : "online";
        record["subscriptionId"] = *id;
        record["sentAt"] = sentAt.value_or(0.0);
        record["receivedAt"] = receivedAt;
        record["visible"] = isVisible;
        const auto hash = hashOfId_.find(*id);
        const auto topic = hash != hashOfId_.end() ? current_.find(hash->second) : current_.end();
        if (topic != current_.end()) {
            record["topic"] = topic->second.description();
        }
        count_(topic != current_.end() ? Rule::recordWithTopic : Rule::recordWithoutTopic);
        records.push_back(Value(std::move(record)));
    }
    reports_.schedule(reportOf("vexaMessages", std::move(records)));
}

} // namespace vexa::model
