#include "tests/simulation/Follower.hpp"

#include "tests/model/Replay.hpp"

#include <boost/json/serialize.hpp>

#include <exception>
#include <string>

namespace vexa::simulation {

void FollowerAccount::take(const Message& message, bool isTerminating)
{
    const std::string observed = boost::json::serialize(*message);
    const auto require = [&](bool holds, const std::string& expected) {
        if (!holds) {
            throw model::Difference{expected + " of the topic " + topic_.name, observed, 0};
        }
    };
    const Dictionary& payload = message->at("payload").as_object();
    const auto number = payload.at("number").to_number<std::size_t>();
    const double updatedAt = payload.at("updatedAt").to_number<double>();
    require(!hasEnded_, "nothing after the last message");
    if (last_) {
        const std::size_t next = *last_ + 1;
        require(number == next || (number > next && number <= promisedFrom_), "message " + std::to_string(next));
    }
    require(number < topic_.terminates.size(), "a message that was published");
    require(isTerminating == topic_.terminates[number], "isTerminating as it was published");
    require(updatedAt > lastUpdatedAt_, "a later updatedAt");
    last_ = number;
    lastUpdatedAt_ = updatedAt;
    hasEnded_ = isTerminating;
}

void FollowerAccount::requireUpToDate() const
{
    if (hasEnded_ || topic_.terminates.empty()) {
        return;
    }
    const std::size_t newest = topic_.terminates.size() - 1;
    if (!last_ || *last_ != newest) {
        throw model::Difference{"message " + std::to_string(newest) + " of the topic " + topic_.name + " as the last",
                                last_ ? "message " + std::to_string(*last_) : "no message", 0};
    }
}

void FollowingListener::messageReceived(const Message& message, bool isTerminating)
{
    ++calls;
    if (wrong_ != nullptr) {
        return;
    }
    try {
        if (isRemoved) {
            throw model::Difference{"nothing after the listener's removal", boost::json::serialize(*message), 0};
        }
        account.take(message, isTerminating);
    } catch (...) {
        wrong_ = std::current_exception();
    }
}

void FollowingListener::rethrow() const
{
    if (wrong_ != nullptr) {
        std::rethrow_exception(wrong_);
    }
}

} // namespace vexa::simulation
