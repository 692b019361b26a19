#pragma once

#include "tests/model/HashBook.hpp"
#include "tests/model/HostCalls.hpp"
#include "tests/model/Observation.hpp"
#include "tests/model/Replay.hpp"
#include "tests/model/ReportLedger.hpp"
#include "tests/model/Rules.hpp"
#include "tests/model/WorkQueue.hpp"
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace vexa::model {

/// A topic as the model of the client knows it.
struct ModelTopic {
    std::string name;
    Parameters params;
    std::string hash;
    double updatedAt;

    /// "name"; "parameters" when there are any; "updatedAt" when it is greater than 0.
    [[nodiscard]] Dictionary description() const;
};

/// A call of the feed that waits on the client's callback queue.
struct FeedTask {
    std::int64_t feed;
    std::string hash;
    Message message;
    bool isTerminating;
};

/// The rules of the subscription client.
///
/// Operations that wait for the client's state queue, or are submitted to it, put an item into `queue`; the item runs
/// when the library's queue is seen to run its own.
class ClientModel {
public:
    ClientModel(Replay& replay, HostCalls& host, HashBook& hashes, RuleCounts& count);

    WorkQueue queue;
    std::deque<FeedTask> feedTasks;

    // What puts items into the queue.

    /// `hash` gets the result when the item has run.
    void create(std::string name, Parameters params, double updatedAt, std::shared_ptr<std::string> hash);
    void remove(std::string hash);
    void setFeed(std::int64_t feed);
    void handleMessage(Message message);
    void connectionOpened();

    /// Someone waits until the queue has come this far.
    void wait()
    {
        queue.sync([] {});
    }

    /// Compares the client's tables as they were read with the model's.
    void compare(const ClientTables& tables);

    /// A firing of the retry timer.
    void tick();

    /// A delayed item.
    void sendReport() { reports_.send(); }

    /// What must hold whenever nothing is ready to run.
    void requireNothingOverdue() const;

    [[nodiscard]] std::int64_t feed() const noexcept { return feed_; }

private:
    /// The topics of a request. Those from currentSubscriptions stand in front, in an order that is not known until it
    /// was seen.
    struct Operation {
        std::vector<ModelTopic> topics;
        std::vector<std::pair<std::size_t, std::size_t>> unordered; ///< begin and end of each stretch
    };

    struct ByNumber {
        bool operator()(const std::string& a, const std::string& b) const noexcept
        {
            return a.size() != b.size() ? a.size() < b.size() : a < b;
        }
    };

    // ClientModel.cpp
    std::string createNow(const std::string& name, const Parameters& params, double updatedAt);
    void registerListeners();
    void removeNow(const std::string& hash);
    void compareTopics(const ClientTables& tables);
    void compareTopic(const std::string& where, const ModelTopic& expected, const SeenTopic& seen) const;
    void requireSame(const std::string& what, const std::string& expected, const std::string& observed) const;

    // ClientModelRequests.cpp
    void addPending(const std::string& hash, const std::string& name, const Parameters& params, double updatedAt);
    bool sendRequest(const std::string& id);
    void startTimer();
    void openedNow();
    [[nodiscard]] std::string nextOperation();
    void settle(Operation& operation, const std::vector<Dictionary>& descriptions) const;

    // ClientModelResponses.cpp
    void dispatch(const Message& message);
    void respond(const Dictionary& response);
    [[nodiscard]] Dictionary answer(const std::string& id, const ModelTopic& topic, const Dictionary& entry,
                                    bool isVisible);
    void confirm(const ModelTopic& topic, const std::string& subscriptionId);
    void reportTimeouts();
    void deliver(const Message& batch);
    void reportDelivery(const Dictionary& batch, const List& entries);
    [[nodiscard]] bool askVisible();

    Replay& replay_;
    HostCalls& host_;
    HashBook& hashes_;
    RuleCounts& count_;
    ReportLedger reports_;

    std::optional<std::int64_t> messageListenerId_;
    std::optional<std::int64_t> connectionListenerId_;
    std::int64_t nextOperationId_ = 0;
    std::map<std::string, Operation, ByNumber> pending_;
    std::map<std::string, ModelTopic> current_;
    std::set<std::string> removed_;
    std::map<std::string, std::string> hashOfId_;
    double pendingSubTime_ = 0;
    std::set<std::string> loggedOperations_;
    std::int64_t retryCount_ = 0;
    std::optional<double> timerDeadline_; ///< of the next firing, on the monotonic clock; none without a timer
    std::int64_t feed_ = 0;
};

} // namespace vexa::model
