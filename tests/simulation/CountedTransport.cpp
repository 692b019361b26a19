#include "tests/simulation/CountedTransport.hpp"

#include <boost/json/serialize.hpp>

#include <algorithm>

namespace vexa::simulation {

namespace {

/// The text for a list of messages or of the records of their delivery: the subscriptions, in order.
std::string subscriptionsIn(const List& entries)
{
    std::string text;
    for (const Value& each : entries) {
        text += boost::json::serialize(each.at("subscriptionId")) + " ";
    }
    return text;
}

/// The text for a data message, which its delivery report has too.
std::string signature(const Value& sentAt, const List& entries)
{
    return boost::json::serialize(sentAt) + " " + subscriptionsIn(entries);
}

class CountedLogger final : public OruClientLogger {
public:
    CountedLogger(std::shared_ptr<OruClient> transport, TransportAccount& account)
        : transport_{std::move(transport)}, inner_{transport_->logger()}, account_{account}
    {}

    void consoleLog(std::string_view line) override { inner_->consoleLog(line); }

    void serverLog(std::string_view category, Dictionary blob, std::int64_t severity) override
    {
        ++account_.records;
        account_.waited += transport_->isOpen() ? 0U : 1U;
        if (const Value* messages = blob.if_contains("vexaMessages")) {
            const List& records = messages->as_array();
            account_.madeReports.insert(signature(records.at(0).at("sentAt"), records));
        }
        if (const Value* responses = blob.if_contains("vexaSubscriptionResponses")) {
            for (const Value& each : responses->as_array()) {
                const Value* error = each.as_object().if_contains("error");
                account_.timeouts += error != nullptr && *error == "SubscriptionTimeoutError" ? 1U : 0U;
            }
        }
        inner_->serverLog(category, std::move(blob), severity);
    }

private:
    const std::shared_ptr<OruClient> transport_;
    const std::shared_ptr<OruClientLogger> inner_;
    TransportAccount& account_;
};

class CountedListener final : public OruClientMessageListener {
public:
    CountedListener(std::shared_ptr<OruClientMessageListener> inner, TransportAccount& account) noexcept
        : inner_{std::move(inner)}, account_{account}
    {}

    void handleMessage(Message message) override
    {
        if (message->at("type") == "data") {
            const List& entries = message->at("messages").as_array();
            account_.owedReports.insert(signature(message->at("sentAt"), entries));
            for (const Value& each : entries) {
                const Value& payload = each.at("payload");
                std::size_t& until = account_.gotUntil[payload.at("topic").to_number<std::size_t>()];
                until = std::max(until, payload.at("number").to_number<std::size_t>() + 1);
            }
        }
        if (const auto inner = inner_.lock()) {
            inner->handleMessage(std::move(message));
        }
    }

    void messageListenerRemoved(std::int64_t listenerId) override
    {
        if (const auto inner = inner_.lock()) {
            inner->messageListenerRemoved(listenerId);
        }
    }

private:
    const std::weak_ptr<OruClientMessageListener> inner_;
    TransportAccount& account_;
};

} // namespace

CountedTransport::CountedTransport(std::shared_ptr<OruClient> inner, TransportAccount& account)
    : inner_{std::move(inner)}, account_{account}, logger_{std::make_shared<CountedLogger>(inner_, account)}
{}

std::int64_t CountedTransport::addCategoryListener(std::string_view category,
                                                   std::shared_ptr<OruClientMessageListener> listener)
{
    listener_ = std::make_shared<CountedListener>(std::move(listener), account_);
    return inner_->addCategoryListener(category, listener_);
}

} // namespace vexa::simulation
