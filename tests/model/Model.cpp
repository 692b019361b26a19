#include "tests/model/Model.hpp"

#include "tests/model/ExpectedText.hpp"
#include "tests/model/LooseValues.hpp"

#include <algorithm>
#include <utility>

namespace vexa::model {

namespace {

bool isSameMessage(const Message& a, const Message& b)
{
    return a == b || (a != nullptr && b != nullptr && *a == *b);
}

std::string displayOf(const std::vector<std::int64_t>& numbers)
{
    std::string text;
    for (const std::int64_t number : numbers) {
        text += std::to_string(number) + " ";
    }
    return text.empty() ? "none" : text;
}

} // namespace

Model::Model(RuleCounts& count)
    : count_{count},
      host_{replay_, count},
      client_{replay_, host_, hashes_, count},
      manager_{replay_,
               host_,
               count,
               {[this](const std::string& name, const Parameters& params, double updatedAt) {
                    return createForManager(name, params, updatedAt);
                },
                [this](const std::string& hash) {
                    if (replay_.take(Happening::managerRemoves).text != hash) {
                        replay_.differ("removal of " + hash);
                    }
                    client_.remove(hash);
                }}}
{
    replay_.unasked = [this] { followOne(); };
}

void Model::follow(const std::vector<Observation>& observations)
{
    replay_.begin(observations);
    while (!replay_.atEnd()) {
        followOne();
    }
}

void Model::followOne()
{
    const Observation& next = replay_.peek();
    switch (next.what) {
    case Happening::itemBegins:
        runItem();
        return;
    case Happening::managerSetsFeed:
    case Happening::hostSetsFeed:
        client_.setFeed(replay_.take(next.what).source);
        return;
    case Happening::hostHashes:
        hostHashes(replay_.take(next.what));
        return;
    case Happening::hostCreates:
        hostCreates(replay_.take(next.what));
        return;
    case Happening::hostRemoves:
        client_.remove(replay_.take(next.what).text);
        return;
    case Happening::hostFeeds:
        replay_.take(next.what);
        manager_.feed(next.text, next.message, next.flag);
        return;
    case Happening::hostAdds:
        hostAdds(replay_.take(next.what));
        return;
    case Happening::hostRemovesListener:
        manager_.remove(replay_.take(next.what).number);
        return;
    case Happening::hostAsksListeners:
        hostAsksListeners(replay_.take(next.what));
        return;
    case Happening::hostMakesStream:
        hostMakesStream(replay_.take(next.what));
        return;
    case Happening::hostCancelsStream:
        hostCancelsStream(replay_.take(next.what));
        return;
    case Happening::hostReadsStream:
        hostReadsStream(replay_.take(next.what));
        return;
    case Happening::hostEchoes:
        replay_.take(next.what);
        hostEchoes();
        return;
    case Happening::hostReadsClient:
        replay_.take(next.what);
        hostReadsClient();
        return;
    case Happening::hostReadsManager:
        replay_.take(next.what);
        hostReadsManager();
        return;
    case Happening::incoming:
        client_.handleMessage(replay_.take(next.what).message);
        return;
    case Happening::connectionOpened:
        replay_.take(next.what);
        client_.connectionOpened();
        return;
    case Happening::connectionClosed:
    case Happening::listenerRegistrationDropped:
        replay_.take(next.what);
        return;
    case Happening::transportReplaced:
        host_.transport = replay_.take(next.what).source;
        return;
    case Happening::allQuiet:
        requireQuiet(replay_.take(next.what));
        return;
    default:
        replay_.differ("nothing of the kind", display(next));
    }
}

void Model::runItem()
{
    const Observation& item = replay_.take(Happening::itemBegins);
    const auto kind = static_cast<ItemKind>(item.number);
    const std::string& label = item.text;
    if (label == "vexaint") {
        if (kind == ItemKind::timer) {
            client_.tick();
        } else if (kind == ItemKind::delayed) {
            client_.sendReport();
        } else {
            client_.queue.runOldest(replay_, kind);
        }
    } else if (label == "vexasubiq") {
        manager_.queue.runOldest(replay_, kind);
    } else if (label == "vexacb") {
        runFeedTasks();
    } else if (label == "vexacbq") {
        runListenerTasks();
    } else {
        replay_.differ("a queue of the library");
    }
    if (replay_.take(Happening::itemEnds).text != label) {
        replay_.differ("the end of the item on " + label);
    }
}

void Model::runFeedTasks()
{
    std::vector<FedEntry> fedToManager;
    while (!replay_.nextIs(Happening::itemEnds)) {
        const Observation& call = replay_.take(Happening::feed);
        if (client_.feedTasks.empty()) {
            replay_.differ("no message for a feed");
        }
        const FeedTask task = std::move(client_.feedTasks.front());
        client_.feedTasks.pop_front();
        if (call.source != task.feed || call.text != task.hash || !isSameMessage(call.message, task.message) ||
            call.flag != task.isTerminating) {
            replay_.differ("another message for the feed " + std::to_string(task.feed) + " of " + task.hash);
        }
        count_(task.feed == managerFeed ? Rule::feedManager : Rule::feedOther);
        if (task.feed != client_.feed()) {
            count_(Rule::feedEarlier);
        }
        if (task.feed == managerFeed) {
            fedToManager.push_back({task.hash, task.message, task.isTerminating});
        }
        host_.callbackReturns("VexaFeed::messageFeed", Rule::feedThrew);
    }
    if (!fedToManager.empty()) {
        manager_.feedTogether(std::move(fedToManager));
    }
}

void Model::runListenerTasks()
{
    while (!replay_.nextIs(Happening::itemEnds)) {
        if (replay_.nextIs(Happening::logLine)) {
            // The end of a stream is all that can be written to the log here.
            deliverToStreams();
            if (manager_.listenerTasks.empty() || !manager_.listenerTasks.front().receiver.isStream) {
                replay_.differ("no end of a stream", display(replay_.peek()));
            }
            const ListenerTask task = std::move(manager_.listenerTasks.front());
            manager_.listenerTasks.pop_front();
            deliverToStream(task);
            continue;
        }
        const Observation& call = replay_.take(Happening::listener);
        deliverToStreams();
        if (manager_.listenerTasks.empty()) {
            replay_.differ("no message for a listener");
        }
        const ListenerTask task = std::move(manager_.listenerTasks.front());
        manager_.listenerTasks.pop_front();
        if (task.receiver.isStream || call.source != task.receiver.number ||
            !isSameMessage(call.message, task.message) || call.flag != task.isTerminating) {
            replay_.differ("another message, for the " + std::string{task.receiver.isStream ? "stream " : "listener "} +
                           std::to_string(task.receiver.number));
        }
        count_(Rule::listenerCalled);
        if (!task.isTerminating && !manager_.isRegistered(task.listenerId)) {
            count_(Rule::listenerCalledAfterRemoval);
        }
        host_.callbackReturns("VexaSubscriptionListener::messageReceived", Rule::listenerThrew);
    }
}

void Model::deliverToStreams()
{
    while (!manager_.listenerTasks.empty()) {
        const ListenerTask& front = manager_.listenerTasks.front();
        if (!front.receiver.isStream || (front.isTerminating && !streams_.at(front.receiver.number).hasEnded)) {
            return;
        }
        deliverToStream(front);
        manager_.listenerTasks.pop_front();
    }
}

void Model::deliverToStream(const ListenerTask& task)
{
    StreamModel& stream = streams_.at(task.receiver.number);
    if (stream.hasEnded) {
        count_(Rule::streamLateElement);
        return;
    }
    stream.buffer.push_back({task.message, task.isTerminating});
    if (task.isTerminating) {
        endStream(stream, Rule::streamUnregisteredByEnd);
    }
}

void Model::endStream(StreamModel& stream, Rule reason)
{
    stream.hasEnded = true;
    if (!stream.listenerId) {
        return;
    }
    const std::int64_t id = *stream.listenerId;
    stream.listenerId.reset();
    manager_.remove(id);
    host_.log("VexaSubscriptionStream unregistered listener - " + std::to_string(id));
    count_(reason);
}

std::string Model::createForManager(const std::string& name, const Parameters& params, double updatedAt)
{
    const Observation& call = replay_.take(Happening::managerCreates);
    if (call.text != name || call.params != params || call.updatedAt != updatedAt) {
        replay_.differ("creation of " + name + " at " + std::to_string(updatedAt));
    }
    const auto hash = std::make_shared<std::string>();
    client_.create(name, params, updatedAt, hash);
    if (replay_.takeAfterOthers(Happening::clientReturns).text != *hash) {
        replay_.differ("the hash " + *hash);
    }
    return *hash;
}

void Model::hostHashes(const Observation& call)
{
    const std::string& hash = replay_.takeAfterOthers(Happening::libraryReturns).text;
    hashes_.learn(replay_, call.text, call.params, hash);
}

void Model::hostCreates(const Observation& call)
{
    const auto hash = std::make_shared<std::string>();
    client_.create(call.text, call.params, call.updatedAt, hash);
    if (replay_.takeAfterOthers(Happening::libraryReturns).text != *hash || hash->empty()) {
        replay_.differ("the hash " + *hash);
    }
}

void Model::hostAdds(const Observation& call)
{
    const auto id = std::make_shared<std::int64_t>(0);
    manager_.add(call.text, call.params, call.updatedAt, {call.source, false},
                 [id](std::int64_t added) { *id = added; });
    if (replay_.takeAfterOthers(Happening::libraryReturns).number != *id || *id == 0) {
        replay_.differ("the listener id " + std::to_string(*id));
    }
}

void Model::hostAsksListeners(const Observation& call)
{
    const auto ids = std::make_shared<std::vector<std::int64_t>>();
    manager_.ask(hashes_.hashOf(call.text, call.params), ids);
    const Observation& answer = replay_.takeAfterOthers(Happening::libraryReturns);
    if (answer.ids != *ids) {
        replay_.differ("the listeners " + displayOf(*ids));
    }
}

void Model::hostMakesStream(const Observation& call)
{
    StreamModel& stream = streams_[call.source];
    if (!call.flag) {
        count_(Rule::streamWithoutTime);
    }
    // The registration is logged by the item that makes it or right behind that.
    const auto isLogged = std::make_shared<bool>(false);
    const auto takeLine = [this, &stream, isLogged] {
        if (!*isLogged && replay_.nextIs(Happening::logLine)) {
            host_.log("VexaSubscriptionStream registered listener - Optional(" + std::to_string(*stream.listenerId) +
                      ")");
            count_(Rule::streamRegistered);
            *isLogged = true;
        }
    };
    manager_.add(call.text, call.params, call.flag ? call.updatedAt : 0.0, {call.source, true},
                 [&stream, takeLine](std::int64_t id) {
                     stream.listenerId = id;
                     takeLine();
                 });
    while (!replay_.nextIs(Happening::libraryReturns)) {
        if (stream.listenerId && !*isLogged && replay_.nextIs(Happening::logLine)) {
            takeLine();
        } else {
            followOne();
        }
    }
    replay_.take(Happening::libraryReturns);
    if (!*isLogged) {
        replay_.differ("the log line of a registered stream");
    }
}

void Model::hostCancelsStream(const Observation& call)
{
    StreamModel& stream = streams_.at(call.source);
    if (stream.hasEnded) {
        count_(Rule::streamEndedTwice);
    } else {
        endStream(stream, Rule::streamUnregisteredByHost);
    }
    stream.buffer.clear();
    replay_.take(Happening::libraryReturns);
}

void Model::hostReadsStream(const Observation& call)
{
    StreamModel& stream = streams_.at(call.source);
    const auto result = static_cast<ReadResult>(call.number);
    // When a message went into a stream cannot be seen, so it is found out when it comes out.
    while (result == ReadResult::element && stream.buffer.empty() && !manager_.listenerTasks.empty() &&
           manager_.listenerTasks.front().receiver.isStream && !manager_.listenerTasks.front().isTerminating) {
        deliverToStream(manager_.listenerTasks.front());
        manager_.listenerTasks.pop_front();
    }
    if (!stream.buffer.empty()) {
        const StreamModel::Element element = std::move(stream.buffer.front());
        stream.buffer.pop_front();
        if (result != ReadResult::element || !isSameMessage(element.message, call.message) ||
            element.isTerminating != call.flag) {
            replay_.differ("the stream's oldest element");
        }
        count_(element.isTerminating ? Rule::streamLastElement : Rule::streamElement);
        return;
    }
    if (stream.hasEnded) {
        if (result != ReadResult::exhausted) {
            replay_.differ("a stream that is exhausted");
        }
        count_(Rule::streamExhausted);
        return;
    }
    if (result != ReadResult::nothingYet) {
        replay_.differ("a stream that has nothing yet");
    }
    count_(Rule::streamWaits);
}

void Model::hostEchoes()
{
    const Observation& sent = replay_.peek();
    if (sent.what == Happening::send) {
        const std::string id = textIn(sent.dictionary, "msgId").value_or("");
        const bool isNumber = id.size() == 5 && id.find_first_not_of("0123456789") == std::string::npos;
        Dictionary expectedPayload;
        expectedPayload["fieldOne"] = "ios-sdk";
        expectedPayload["fieldTwo"] = "testTwo";
        expectedPayload["date"] = plainNumber(sent.wall);
        Dictionary expected;
        expected["category"] = "zltMsg";
        expected["type"] = "sdk-echo";
        expected["msgId"] = isNumber && id >= "20002" ? id : "a number from 20002 to 99999";
        expected["payload"] = std::move(expectedPayload);
        const auto threwBefore = count_.of(static_cast<std::size_t>(Rule::sendThrew));
        host_.send(expected);
        count_(count_.of(static_cast<std::size_t>(Rule::sendThrew)) != threwBefore ? Rule::echoThrew : Rule::echoSent);
    } else {
        replay_.differ("an echo message", display(sent));
    }
    replay_.take(Happening::libraryReturns);
}

void Model::hostReadsClient()
{
    client_.wait();
    client_.compare(*replay_.takeAfterOthers(Happening::libraryReturns).client);
}

void Model::hostReadsManager()
{
    manager_.wait();
    manager_.compare(*replay_.takeAfterOthers(Happening::libraryReturns).manager);
}

void Model::requireQuiet(const Observation& seen)
{
    deliverToStreams();
    if (client_.queue.size() != 0 || manager_.queue.size() != 0) {
        replay_.differ("items of queues that never ran: " + std::to_string(client_.queue.size()) + " on vexaint, " +
                       std::to_string(manager_.queue.size()) + " on vexasubiq");
    }
    if (!client_.feedTasks.empty()) {
        replay_.differ("a message for the feed " + std::to_string(client_.feedTasks.front().feed));
    }
    if (!manager_.listenerTasks.empty()) {
        const ListenerTask& task = manager_.listenerTasks.front();
        replay_.differ(std::string{"a message for the "} + (task.receiver.isStream ? "stream " : "listener ") +
                       std::to_string(task.receiver.number));
    }
    client_.requireNothingOverdue();
    const std::vector<std::int64_t> listeners = manager_.listeners();
    if (seen.ids != listeners) {
        replay_.differ("the listeners " + displayOf(listeners) + "alive");
    }
    std::vector<std::int64_t> feeds;
    if (client_.feed() > managerFeed) {
        feeds.push_back(client_.feed());
    }
    if (seen.feeds != feeds) {
        replay_.differ("the feeds " + displayOf(feeds) + "alive", displayOf(seen.feeds));
    }
}

} // namespace vexa::model
