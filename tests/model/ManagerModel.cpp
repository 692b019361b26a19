#include "tests/model/ManagerModel.hpp"

#include "tests/model/ExpectedText.hpp"

#include <algorithm>
#include <set>
#include <utility>

namespace vexa::model {

ManagerModel::ManagerModel(Replay& replay, HostCalls& host, RuleCounts& count, Client client)
    : replay_{replay}, host_{host}, count_{count}, client_{std::move(client)}
{}

void ManagerModel::add(std::string name, Parameters params, double updatedAt, Receiver receiver,
                       std::function<void(std::int64_t id)> added)
{
    queue.sync([this, name = std::move(name), params = std::move(params), updatedAt, receiver,
                added = std::move(added)] { added(addNow(name, params, updatedAt, receiver)); });
}

void ManagerModel::remove(std::int64_t id)
{
    queue.async([this, id] { removeNow(id); });
}

void ManagerModel::feed(std::string hash, Message message, bool isTerminating)
{
    queue.async([this, hash = std::move(hash), message = std::move(message), isTerminating] {
        fanOut(hash, message, isTerminating);
    });
}

void ManagerModel::feedTogether(std::vector<FedEntry> entries)
{
    queue.async([this, entries = std::move(entries)] {
        for (const FedEntry& each : entries) {
            fanOut(each.hash, each.message, each.isTerminating);
        }
    });
}

void ManagerModel::ask(std::string hash, std::shared_ptr<std::vector<std::int64_t>> ids)
{
    queue.sync([this, hash = std::move(hash), ids = std::move(ids)] {
        if (const auto found = idsOf_.find(hash); found != idsOf_.end()) {
            *ids = found->second;
        }
        count_(ids->empty() ? Rule::asksNobody : Rule::asksSomebody);
    });
}

std::vector<std::int64_t> ManagerModel::listeners() const
{
    std::set<std::int64_t> numbers;
    for (const auto& [id, record] : records_) {
        if (!record.receiver.isStream) {
            numbers.insert(record.receiver.number);
        }
    }
    return {numbers.begin(), numbers.end()};
}

std::int64_t ManagerModel::addNow(const std::string& name, const Parameters& params, double updatedAt,
                                  Receiver receiver)
{
    // How the parameters are shown is free, but that absent ones are shown as nil.
    const std::string start = "VEXA: Creating subscription " + withoutControlCharacters(name) + " - ";
    const std::string& line = replay_.take(Happening::logLine).text;
    if (!line.starts_with(start) || (line == start + "nil") == params.has_value() || line.size() == start.size()) {
        replay_.differ("log line " + start + (params ? "and the parameters" : "nil"));
    }
    count_(params ? Rule::addWithParams : Rule::addWithoutParams);
    const std::string hash = client_.create(name, params, updatedAt);
    const std::int64_t id = nextId_++;
    records_[id] = Record{hash, receiver};
    std::vector<std::int64_t>& ids = idsOf_[hash];
    if (ids.empty()) {
        host_.log("setting listener");
        count_(Rule::addFirst);
    } else {
        host_.log("Adding new listener to existing sub");
        count_(Rule::addFurther);
    }
    ids.push_back(id);
    return id;
}

void ManagerModel::removeNow(std::int64_t id)
{
    if (id == 0) {
        host_.log("Cannot remove no-listener");
        count_(Rule::removeNone);
        return;
    }
    const auto record = records_.find(id);
    if (record == records_.end()) {
        host_.log("No subscription registered for " + std::to_string(id));
        count_(Rule::removeUnknown);
        return;
    }
    const std::string hash = record->second.hash;
    std::vector<std::int64_t>& ids = idsOf_[hash];
    host_.log("removing listener " + std::to_string(id));
    std::erase(ids, id);
    if (ids.empty()) {
        host_.log("removing subscription");
        count_(Rule::removeLast);
        client_.remove(hash);
        idsOf_.erase(hash);
    } else {
        host_.log("still had other listeners");
        count_(Rule::removeOneOfSeveral);
    }
    records_.erase(id);
}

void ManagerModel::fanOut(const std::string& hash, const Message& message, bool isTerminating)
{
    const auto found = idsOf_.find(hash);
    if (found == idsOf_.end()) {
        host_.log("no listeners registered for " + hash);
        count_(Rule::fanOutNobody);
        return;
    }
    const std::vector<std::int64_t> ids = found->second;
    count_(ids.size() == 1 ? Rule::fanOutOne : Rule::fanOutSeveral);
    if (isTerminating) {
        count_(Rule::fanOutTerminates);
    }
    for (const std::int64_t id : ids) {
        listenerTasks.push_back({records_.at(id).receiver, id, message, isTerminating});
        if (isTerminating) {
            removeNow(id);
        }
    }
}

void ManagerModel::compare(const ManagerTables& tables)
{
    count_(Rule::managerTablesCompared);
    if (records_.empty() && nextId_ > 1) {
        count_(Rule::managerTablesEmpty);
    }
    if (tables.nextListenerId != nextId_) {
        replay_.differ("nextListenerId " + std::to_string(nextId_), std::to_string(tables.nextListenerId));
    }
    std::map<std::int64_t, std::string> hashes;
    for (const auto& [id, record] : records_) {
        hashes.emplace(id, record.hash);
    }
    if (hashes != tables.listenersById) {
        replay_.differ("listenersById with " + std::to_string(hashes.size()) + " listeners as they were added",
                       std::to_string(tables.listenersById.size()) + " listeners");
    }
    if (idsOf_ != tables.listenersBySub) {
        replay_.differ("listenersBySub with " + std::to_string(idsOf_.size()) + " subscriptions as they were added",
                       std::to_string(tables.listenersBySub.size()) + " subscriptions");
    }
}

} // namespace vexa::model
