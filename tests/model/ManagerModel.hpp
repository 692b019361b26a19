#pragma once

#include "tests/model/HostCalls.hpp"
#include "tests/model/Observation.hpp"
#include "tests/model/Replay.hpp"
#include "tests/model/Rules.hpp"
#include "tests/model/WorkQueue.hpp"
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace vexa::model {

/// Whom a registration belongs to: a listener of the host's, or a stream.
struct Receiver {
    std::int64_t number = 0;
    bool isStream = false;
};

/// A message as the client feeds it.
struct FedEntry {
    std::string hash;
    Message message;
    bool isTerminating;
};

/// A call of a listener that waits on the manager's callback queue.
struct ListenerTask {
    Receiver receiver;
    std::int64_t listenerId;
    Message message;
    bool isTerminating;
};

/// The rules of the subscription manager.
class ManagerModel {
public:
    /// How the manager reaches its client: `create` is followed to its end and answers the hash.
    struct Client {
        std::function<std::string(const std::string& name, const Parameters& params, double updatedAt)> create;
        std::function<void(const std::string& hash)> remove;
    };

    ManagerModel(Replay& replay, HostCalls& host, RuleCounts& count, Client client);

    WorkQueue queue;
    std::deque<ListenerTask> listenerTasks;

    // What puts items into the queue.

    /// `added` gets the new id as soon as it is there, at the end of the item.
    void add(std::string name, Parameters params, double updatedAt, Receiver receiver,
             std::function<void(std::int64_t id)> added);
    void remove(std::int64_t id);
    void feed(std::string hash, Message message, bool isTerminating);

    /// Messages that came to the client together: they are fanned out together, in their order.
    void feedTogether(std::vector<FedEntry> entries);
    void ask(std::string hash, std::shared_ptr<std::vector<std::int64_t>> ids);

    /// Someone waits until the queue has come this far.
    void wait()
    {
        queue.sync([] {});
    }

    /// Compares the manager's tables as they were read with the model's.
    void compare(const ManagerTables& tables);

    /// Whether a registration stands.
    [[nodiscard]] bool isRegistered(std::int64_t id) const { return records_.contains(id); }

    /// The numbers of the host's listeners that are registered, in order, each once.
    [[nodiscard]] std::vector<std::int64_t> listeners() const;

private:
    struct Record {
        std::string hash;
        Receiver receiver;
    };

    std::int64_t addNow(const std::string& name, const Parameters& params, double updatedAt, Receiver receiver);
    void removeNow(std::int64_t id);
    void fanOut(const std::string& hash, const Message& message, bool isTerminating);

    Replay& replay_;
    HostCalls& host_;
    RuleCounts& count_;
    Client client_;

    std::int64_t nextId_ = 1;
    std::map<std::int64_t, Record> records_;
    std::map<std::string, std::vector<std::int64_t>> idsOf_;
};

} // namespace vexa::model
