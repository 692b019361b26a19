#include "tests/model/ClientModel.hpp"
#include "tests/model/ExpectedText.hpp"
#include "tests/model/LooseValues.hpp"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>

namespace vexa::model {

namespace {

constexpr double firstTick = 3.0;
constexpr double betweenTicks = 3.0;
constexpr double latestTick = 1.0;
constexpr double rounding = 1.0e-6;
constexpr double holdOff = 5.0;
constexpr std::int64_t lastRetry = 4;

/// How a log line shows a request is free, as long as it shows it.
bool shows(std::string_view rendering, const Dictionary& request, bool& isCutOff)
{
    constexpr std::string_view ellipsis = "…";
    isCutOff = rendering.ends_with(ellipsis);
    if (isCutOff) {
        rendering.remove_suffix(ellipsis.size());
        return withoutControlCharacters(boost::json::serialize(request)).starts_with(rendering);
    }
    boost::system::error_code error;
    const Value parsed = boost::json::parse(rendering, error);
    return !error && parsed.is_object() && parsed.get_object() == request;
}

} // namespace

std::string ClientModel::nextOperation()
{
    return operationName(++nextOperationId_);
}

void ClientModel::addPending(const std::string& hash, const std::string& name, const Parameters& params,
                             double updatedAt)
{
    const std::string id = nextOperation();
    pending_[id] = Operation{{ModelTopic{name, params, hash, updatedAt}}, {}};
    queue.async([this, id] {
        host_.log("Sending subscription request with " + id);
        count_(sendRequest(id) ? Rule::queuedSendSent : Rule::queuedSendSuperseded);
    });
}

bool ClientModel::sendRequest(const std::string& id)
{
    if (!host_.isOpen()) {
        host_.log("OruClient is not open, delaying " + id);
        count_(Rule::sendWhileClosed);
        return true;
    }
    const auto found = pending_.find(id);
    if (found == pending_.end()) {
        return false;
    }
    Operation& operation = found->second;
    const std::string line = replay_.peek().text;
    const std::string start = "VEXA: Sending subscription request ";
    if (!line.starts_with(start)) {
        replay_.differ("log line " + start + "with the request of " + id, display(replay_.peek()));
    }
    replay_.take(Happening::logLine);

    if (!operation.unordered.empty() && replay_.nextIs(Happening::send)) {
        const Dictionary* payload = dictionaryIn(replay_.peek().dictionary, "payload");
        const List* topics = payload != nullptr ? dictionariesIn(*payload, "topics") : nullptr;
        std::vector<Dictionary> descriptions;
        if (topics != nullptr) {
            for (const Value& each : *topics) {
                descriptions.push_back(each.get_object());
            }
        }
        settle(operation, descriptions);
    }
    List topics;
    for (const ModelTopic& each : operation.topics) {
        topics.push_back(Value(each.description()));
    }
    Dictionary payload;
    payload["operationId"] = id;
    payload["topics"] = std::move(topics);
    Dictionary request;
    request["category"] = "vexa";
    request["type"] = "subscribe";
    request["payload"] = std::move(payload);

    if (operation.topics.empty()) {
        count_(Rule::sendEmpty);
    } else if (operation.topics.size() > 1) {
        count_(Rule::sendSeveral);
    }
    bool isCutOff = false;
    if (!shows(std::string_view{line}.substr(start.size()), request, isCutOff)) {
        replay_.differ(start + boost::json::serialize(request), line);
    }
    if (isCutOff) {
        count_(Rule::requestCutOff);
    }
    host_.send(request);
    pendingSubTime_ = replay_.wall();
    startTimer();
    return true;
}

void ClientModel::settle(Operation& operation, const std::vector<Dictionary>& descriptions) const
{
    if (operation.unordered.empty() || descriptions.size() != operation.topics.size()) {
        return;
    }
    for (const auto& [begin, end] : operation.unordered) {
        for (std::size_t i = begin; i < end; ++i) {
            const auto last = operation.topics.begin() + static_cast<std::ptrdiff_t>(end);
            const auto place = operation.topics.begin() + static_cast<std::ptrdiff_t>(i);
            const auto found = std::find_if(
                place, last, [&](const ModelTopic& topic) { return topic.description() == descriptions[i]; });
            if (found == last) {
                replay_.differ("one of the topics that were current", boost::json::serialize(descriptions[i]));
            }
            std::iter_swap(place, found);
        }
    }
    operation.unordered.clear();
}

void ClientModel::startTimer()
{
    if (!timerDeadline_) {
        timerDeadline_ = replay_.monotonic() + firstTick;
        count_(Rule::timerStarted);
    }
}

void ClientModel::tick()
{
    if (!timerDeadline_) {
        replay_.differ("no firing, since there is no retry timer");
    }
    const double at = replay_.monotonic();
    if (at < *timerDeadline_ - rounding || at > *timerDeadline_ + latestTick + rounding) {
        replay_.differ("a firing between " + std::to_string(*timerDeadline_) + " and one second later",
                       "one at " + std::to_string(at));
    }
    *timerDeadline_ += betweenTicks;

    const double now = replay_.wall();
    if (now - pendingSubTime_ < holdOff) {
        count_(now < pendingSubTime_ ? Rule::tickWithTimeBehind : Rule::tickHeldOff);
        return;
    }
    const bool isOutOfRetries = retryCount_ > lastRetry;
    if (isOutOfRetries) {
        timerDeadline_.reset();
        count_(Rule::tickOutOfRetries);
    } else if (pending_.empty()) {
        timerDeadline_.reset();
        count_(Rule::tickNothingPending);
    } else {
        count_(pending_.size() > 1 ? Rule::retryOfSeveral : Rule::tickRetries);
        // Any order would do; the client documents that it takes the oldest operation first.
        for (const auto& [id, operation] : pending_) {
            const std::int64_t logger = host_.logger();
            if (logger != 0) {
                host_.consoleLog(logger, "VEXA: Retrying " + id);
                count_(Rule::retryLine);
            } else {
                count_(Rule::retryWithoutLogger);
            }
            sendRequest(id);
        }
    }
    ++retryCount_;
    const std::size_t reported = loggedOperations_.size();
    reportTimeouts();
    if (isOutOfRetries && loggedOperations_.size() > reported) {
        count_(Rule::timeoutOutOfRetries);
    }
}

void ClientModel::openedNow()
{
    host_.log("All subscriptions reverted to pending");
    count_(current_.empty() ? (pending_.empty() ? Rule::openedNothingKnown : Rule::openedWithPending)
                            : (pending_.empty() ? Rule::openedWithCurrent : Rule::openedWithBoth));
    Operation all;
    for (const auto& [hash, topic] : current_) {
        all.topics.push_back(topic);
        if (removed_.contains(hash)) {
            count_(Rule::openedWithRemoved);
        }
    }
    if (all.topics.size() > 1) {
        all.unordered.emplace_back(0, all.topics.size());
    }
    for (const auto& [id, operation] : pending_) {
        const std::size_t offset = all.topics.size();
        for (const auto& [begin, end] : operation.unordered) {
            all.unordered.emplace_back(offset + begin, offset + end);
        }
        for (const ModelTopic& each : operation.topics) {
            if (current_.contains(each.hash)) {
                count_(Rule::openedWithTwice);
            }
            all.topics.push_back(each);
        }
    }
    current_.clear();
    pending_.clear();
    const std::string id = nextOperation();
    pending_[id] = std::move(all);
    if (replay_.nextIs(Happening::isOpen)) {
        const auto before = count_.of(static_cast<std::size_t>(Rule::sendWhileClosed));
        sendRequest(id);
        if (count_.of(static_cast<std::size_t>(Rule::sendWhileClosed)) != before) {
            count_(Rule::openedWhileClosed);
        }
    } else {
        replay_.differ("OruClient::isOpen", display(replay_.peek()));
    }
}

} // namespace vexa::model
