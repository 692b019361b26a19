#include "tests/model/Observation.hpp"

#include <boost/json/serialize.hpp>

#include <string_view>

namespace vexa::model {

namespace {

const char* nameOf(ItemKind kind) noexcept
{
    switch (kind) {
    case ItemKind::asynchronous:
        return "asynchronous";
    case ItemKind::synchronous:
        return "synchronous";
    case ItemKind::delayed:
        return "delayed";
    case ItemKind::timer:
        return "timer";
    }
    return "unknown";
}

/// As much of the text as people read.
std::string shortened(std::string_view text)
{
    constexpr std::size_t longest = 1000;
    std::string result{text.substr(0, longest)};
    if (text.size() > longest) {
        result += "...";
    }
    return result;
}

std::string outcomeDisplay(const Observation& observation)
{
    switch (observation.outcome) {
    case Outcome::returned:
        return std::to_string(observation.number);
    case Outcome::threwError:
        return "threw " + observation.text;
    case Outcome::threwOther:
        return "threw something that is no std::exception";
    }
    return "unknown";
}

} // namespace

const char* nameOf(Happening what) noexcept
{
    switch (what) {
    case Happening::itemBegins:
        return "an item begins on";
    case Happening::itemEnds:
        return "an item ends on";
    case Happening::logLine:
        return "log line";
    case Happening::logger:
        return "OruClient::logger";
    case Happening::isVisible:
        return "OruClient::isVisible";
    case Happening::isOpen:
        return "OruClient::isOpen";
    case Happening::addConnectionListener:
        return "OruClient::addConnectionListener";
    case Happening::addCategoryListener:
        return "OruClient::addCategoryListener";
    case Happening::send:
        return "OruClient::send";
    case Happening::consoleLog:
        return "OruClientLogger::consoleLog";
    case Happening::serverLog:
        return "OruClientLogger::serverLog";
    case Happening::feed:
        return "VexaFeed::messageFeed";
    case Happening::listener:
        return "VexaSubscriptionListener::messageReceived";
    case Happening::hostReturns:
        return "the host returns";
    case Happening::managerCreates:
        return "the manager calls createSubscription";
    case Happening::managerRemoves:
        return "the manager calls removeSubscription";
    case Happening::managerSetsFeed:
        return "the manager calls setMessageFeedDelegate";
    case Happening::clientReturns:
        return "the client returns";
    case Happening::hostHashes:
        return "the host calls subscriptionHash";
    case Happening::hostCreates:
        return "the host calls createSubscription";
    case Happening::hostRemoves:
        return "the host calls removeSubscription";
    case Happening::hostSetsFeed:
        return "the host calls setMessageFeedDelegate";
    case Happening::hostFeeds:
        return "the host calls messageFeed";
    case Happening::hostAdds:
        return "the host calls addMessageListener";
    case Happening::hostRemovesListener:
        return "the host calls removeMessageListener";
    case Happening::hostAsksListeners:
        return "the host calls anyListenersFor";
    case Happening::hostMakesStream:
        return "the host calls createStream";
    case Happening::hostCancelsStream:
        return "the host cancels a stream";
    case Happening::hostReadsStream:
        return "the host reads a stream";
    case Happening::hostEchoes:
        return "the host calls sendToEcho";
    case Happening::hostReadsClient:
        return "the host reads the client's tables";
    case Happening::hostReadsManager:
        return "the host reads the manager's tables";
    case Happening::libraryReturns:
        return "the library returns";
    case Happening::incoming:
        return "message for the client";
    case Happening::connectionOpened:
        return "connectionOpened";
    case Happening::connectionClosed:
        return "connectionClosed";
    case Happening::listenerRegistrationDropped:
        return "messageListenerRemoved";
    case Happening::transportReplaced:
        return "the transport is replaced";
    case Happening::allQuiet:
        return "all is quiet";
    }
    return "unknown";
}

std::string display(const Observation& observation)
{
    std::string line = nameOf(observation.what);
    const auto add = [&line](const std::string& part) { line += " " + part; };
    if (observation.what == Happening::hostReturns) {
        return line + " " + outcomeDisplay(observation);
    }
    if (!observation.text.empty()) {
        add(observation.text);
    }
    if (observation.what == Happening::itemBegins) {
        add(nameOf(static_cast<ItemKind>(observation.number)));
    } else if (observation.number != 0) {
        add("number " + std::to_string(observation.number));
    }
    if (observation.source != 0) {
        add("at " + std::to_string(observation.source));
    }
    if (observation.params) {
        add(boost::json::serialize(*observation.params));
    }
    if (observation.updatedAt != 0) {
        add("updatedAt " + std::to_string(observation.updatedAt));
    }
    if (observation.message != nullptr) {
        add(boost::json::serialize(*observation.message));
    }
    if (!observation.dictionary.empty()) {
        add(boost::json::serialize(observation.dictionary));
    }
    if (observation.flag) {
        add("terminating");
    }
    for (const std::int64_t id : observation.ids) {
        add(std::to_string(id));
    }
    return shortened(line);
}

} // namespace vexa::model
