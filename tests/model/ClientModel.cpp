#include "tests/model/ClientModel.hpp"

#include "tests/model/ExpectedText.hpp"

#include <boost/json/serialize.hpp>

#include <algorithm>

namespace vexa::model {

namespace {

std::string optionalText(std::int64_t id)
{
    return "Optional(" + std::to_string(id) + ")";
}

/// A time of 0 or less is none, whichever it is.
bool isSameTime(double a, double b)
{
    return a == b || (a <= 0 && b <= 0);
}

template <class Texts>
std::string listed(const Texts& texts)
{
    std::string all;
    for (const auto& each : texts) {
        all += each + " ";
    }
    return all;
}

std::string routes(const std::map<std::string, std::string>& hashes)
{
    std::string all;
    for (const auto& [id, hash] : hashes) {
        all += id + " to " + hash + "; ";
    }
    return all;
}

std::string displayOf(const std::optional<std::int64_t>& id)
{
    return id ? std::to_string(*id) : "none";
}

} // namespace

Dictionary ModelTopic::description() const
{
    Dictionary dictionary;
    dictionary["name"] = name;
    if (params) {
        dictionary["parameters"] = *params;
    }
    if (updatedAt > 0) {
        dictionary["updatedAt"] = updatedAt;
    }
    return dictionary;
}

ClientModel::ClientModel(Replay& replay, HostCalls& host, HashBook& hashes, RuleCounts& count)
    : replay_{replay}, host_{host}, hashes_{hashes}, count_{count}, reports_{replay, host, count}
{}

void ClientModel::create(std::string name, Parameters params, double updatedAt, std::shared_ptr<std::string> hash)
{
    queue.sync([this, name = std::move(name), params = std::move(params), updatedAt, hash = std::move(hash)] {
        *hash = createNow(name, params, updatedAt);
    });
}

void ClientModel::remove(std::string hash)
{
    queue.async([this, hash = std::move(hash)] {
        count_(removed_.contains(hash)   ? Rule::removedAgain
               : current_.contains(hash) ? Rule::removedCurrent
                                         : Rule::removedUnknown);
        removeNow(hash);
    });
}

void ClientModel::setFeed(std::int64_t feed)
{
    queue.async([this, feed] {
        if (feed_ != 0 && feed_ != feed) {
            count_(feed == 0 ? Rule::delegateTaken : Rule::delegateReplaced);
        }
        feed_ = feed;
    });
}

void ClientModel::handleMessage(Message message)
{
    queue.async([this, message = std::move(message)] { dispatch(message); });
}

void ClientModel::connectionOpened()
{
    queue.async([this] { openedNow(); });
}

std::string ClientModel::createNow(const std::string& name, const Parameters& params, double updatedAt)
{
    host_.log("Creating subscription " + name);
    const std::string hash = hashes_.hashOf(name, params);
    host_.log("Subscription hash - " + hash);
    const bool wasRemoved = removed_.erase(hash) != 0;

    const auto found = current_.find(hash);
    if (found != current_.end()) {
        host_.log("Found existing topic");
        count_(Rule::createdCurrent);
        if (wasRemoved) {
            count_(Rule::createdCurrentRemoved);
        }
        if (updatedAt > 0 && found->second.updatedAt < updatedAt) {
            host_.log("topic.updatedAt = " + plainNumber(updatedAt));
            found->second.updatedAt = updatedAt;
            count_(Rule::createdRaising);
        } else {
            count_(updatedAt > 0 ? Rule::createdNotRaising : Rule::createdWithoutTime);
        }
        host_.log("Returning " + hash);
        return hash;
    }

    if (wasRemoved) {
        count_(Rule::createdRemovedNew);
    }
    const bool isPending = std::ranges::any_of(pending_, [&hash](const auto& each) {
        return std::ranges::any_of(each.second.topics, [&hash](const ModelTopic& t) { return t.hash == hash; });
    });
    count_(isPending ? Rule::createdWhilePending : Rule::createdNew);
    registerListeners();
    addPending(hash, name, params, updatedAt);
    return hash;
}

void ClientModel::registerListeners()
{
    if (!messageListenerId_) {
        messageListenerId_ = host_.addCategoryListener("vexa");
        if (messageListenerId_) {
            host_.log("Registered message listener " + optionalText(*messageListenerId_));
            count_(Rule::registeredMessageListener);
        }
    }
    if (!connectionListenerId_) {
        connectionListenerId_ = host_.addConnectionListener();
        if (connectionListenerId_) {
            host_.log("Registered connection listener " + optionalText(*connectionListenerId_));
            count_(Rule::registeredConnectionListener);
        }
    }
}

void ClientModel::removeNow(const std::string& hash)
{
    host_.log("Removed " + hash);
    removed_.insert(hash);
}

void ClientModel::requireNothingOverdue() const
{
    reports_.requireNothingOverdue();
    constexpr double latestFiring = 1.0 + 1.0e-6;
    if (timerDeadline_ && replay_.monotonic() > *timerDeadline_ + latestFiring) {
        replay_.differ("a firing of the retry timer at " + std::to_string(*timerDeadline_),
                       "none by " + std::to_string(replay_.monotonic()));
    }
}

void ClientModel::compare(const ClientTables& tables)
{
    count_(Rule::clientTablesCompared);
    requireSame("messageListenerId", displayOf(messageListenerId_), displayOf(tables.messageListenerId));
    requireSame("connectionListenerId", displayOf(connectionListenerId_), displayOf(tables.connectionListenerId));
    requireSame("nextOperationId", std::to_string(nextOperationId_), std::to_string(tables.nextOperationId));
    requireSame("subscriptionRetryCount", std::to_string(retryCount_), std::to_string(tables.subscriptionRetryCount));
    requireSame("pendingSubTimer", timerDeadline_ ? "set" : "none", tables.hasTimer ? "set" : "none");
    requireSame("delegate", feed_ != 0 ? "set" : "none", tables.hasDelegate ? "set" : "none");
    if (pendingSubTime_ != tables.pendingSubTime) {
        requireSame("pendingSubTime", plainNumber(pendingSubTime_), plainNumber(tables.pendingSubTime));
    }
    if (!std::ranges::equal(removed_, tables.removedSubscriptions)) {
        requireSame("removedSubscriptions", listed(removed_), listed(tables.removedSubscriptions));
    }
    if (!std::ranges::equal(loggedOperations_, tables.loggedOperationIds)) {
        requireSame("loggedOperationIds", listed(loggedOperations_), listed(tables.loggedOperationIds));
    }
    if (hashOfId_ != tables.subscriptionIdToHash) {
        requireSame("subscriptionIdToHash", routes(hashOfId_), routes(tables.subscriptionIdToHash));
    }
    compareTopics(tables);
}

void ClientModel::compareTopics(const ClientTables& tables)
{
    if (current_.size() != tables.currentSubscriptions.size()) {
        requireSame("current topics", std::to_string(current_.size()),
                    std::to_string(tables.currentSubscriptions.size()));
    }
    for (const auto& [hash, topic] : current_) {
        const auto seen = tables.currentSubscriptions.find(hash);
        if (seen == tables.currentSubscriptions.end()) {
            replay_.differ("a current topic " + hash, "none");
        }
        compareTopic("current topic", topic, seen->second);
    }
    if (pending_.size() != tables.pendingSubscriptions.size()) {
        requireSame("pending operations", std::to_string(pending_.size()),
                    std::to_string(tables.pendingSubscriptions.size()));
    }
    for (auto& [id, operation] : pending_) {
        const auto seen = tables.pendingSubscriptions.find(id);
        if (seen == tables.pendingSubscriptions.end()) {
            replay_.differ("a pending operation " + id, "none");
        }
        if (seen->second.size() != operation.topics.size()) {
            requireSame(id, std::to_string(operation.topics.size()), std::to_string(seen->second.size()));
        }
        std::vector<Dictionary> descriptions;
        for (const SeenTopic& each : seen->second) {
            descriptions.push_back(each.description);
        }
        settle(operation, descriptions);
        for (std::size_t i = 0; i < operation.topics.size(); ++i) {
            compareTopic(id, operation.topics[i], seen->second[i]);
        }
    }
}

void ClientModel::compareTopic(const std::string& where, const ModelTopic& expected, const SeenTopic& seen) const
{
    if (expected.hash != seen.hash || !isSameTime(expected.updatedAt, seen.updatedAt) ||
        expected.description() != seen.description) {
        replay_.differ(where + " " + boost::json::serialize(expected.description()) + " under " + expected.hash,
                       boost::json::serialize(seen.description) + " under " + seen.hash);
    }
}

void ClientModel::requireSame(const std::string& what, const std::string& expected, const std::string& observed) const
{
    if (expected.compare(observed) != 0) {
        replay_.differ(what + " " + expected, observed);
    }
}

} // namespace vexa::model
