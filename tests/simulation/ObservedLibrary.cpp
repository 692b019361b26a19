#include "tests/simulation/ObservedLibrary.hpp"

#include "tests/model/Model.hpp"

#include <algorithm>
#include <utility>

namespace vexa::simulation {

namespace {

model::SeenTopic seen(const TopicSubscription& topic)
{
    return {topic.asDictionary(), std::string{topic.hash()}, topic.updatedAt};
}

std::vector<std::string> sorted(const TextSet& texts)
{
    std::vector<std::string> all{texts.begin(), texts.end()};
    std::ranges::sort(all);
    return all;
}

model::ClientTables tablesOf(const VexaOruClient::State& state)
{
    model::ClientTables tables;
    tables.messageListenerId = state.messageListenerId;
    tables.connectionListenerId = state.connectionListenerId;
    tables.nextOperationId = state.nextOperationId;
    for (const auto& [id, topics] : state.pendingSubscriptions) {
        std::vector<model::SeenTopic>& list = tables.pendingSubscriptions[id];
        for (const TopicSubscription& each : topics) {
            list.push_back(seen(each));
        }
    }
    for (const auto& [hash, topic] : state.currentSubscriptions) {
        tables.currentSubscriptions.emplace(hash, seen(topic));
    }
    tables.removedSubscriptions = sorted(state.removedSubscriptions);
    for (const auto& [id, hash] : state.subscriptionIdToHash) {
        tables.subscriptionIdToHash.emplace(id, hash);
    }
    tables.pendingSubTime = state.pendingSubTime;
    tables.loggedOperationIds = sorted(state.loggedOperationIds);
    tables.subscriptionRetryCount = state.subscriptionRetryCount;
    tables.hasTimer = state.pendingSubTimer != nullptr;
    tables.hasDelegate = state.delegate != nullptr;
    return tables;
}

model::ManagerTables tablesOf(const VexaOruSubscriptionManager::State& state)
{
    model::ManagerTables tables;
    tables.nextListenerId = state.nextListenerId;
    for (const auto& [id, record] : state.listenersById) {
        tables.listenersById.emplace(id, record.hash);
    }
    tables.listenersBySub.insert(state.listenersBySub.begin(), state.listenersBySub.end());
    return tables;
}

} // namespace

class ObservedLibrary::Sender final : public VexaDataSender {
public:
    Sender(Platform& platform, Dependencies& container) : VexaDataSender{platform, container} {}
};

ObservedLibrary::ObservedLibrary(std::uint64_t seed, bool drawsLeeway)
    : platform_{seed, testing::VirtualOptions{drawsLeeway}},
      client_{VexaOruClient::make(platform_, container_)},
      observedClient_{std::make_shared<ObservedClient>(platform_.recorder, client_, model::Model::managerFeed)},
      manager_{VexaOruSubscriptionManager::make(platform_, observedClient_)},
      managerFeed_{observedClient_->feed()},
      sender_{std::make_unique<Sender>(platform_, container_)}
{}

ObservedLibrary::~ObservedLibrary()
{
    // The manager, its client, and the feeds and listeners that they hold would keep each other alive.
    streams_.clear();
    client_->setMessageFeedDelegate(nullptr);
    static_cast<void>(client_->state());
}

std::shared_ptr<SimulatedTransport> ObservedLibrary::replaceTransport()
{
    auto transport = std::make_shared<SimulatedTransport>(recorder(), ++lastTransport_);
    transport->currentLogger = newLogger();
    container_.oruClient(transport);
    Observation replaced;
    replaced.what = Happening::transportReplaced;
    replaced.source = lastTransport_;
    recorder().add(std::move(replaced));
    return transport;
}

std::shared_ptr<SimulatedLogger> ObservedLibrary::newLogger()
{
    return std::make_shared<SimulatedLogger>(recorder(), ++lastLogger_);
}

Observation ObservedLibrary::call(Happening what, std::string_view name, const Parameters& params,
                                  double updatedAt) const
{
    Observation made;
    made.what = what;
    made.text = name;
    made.params = params;
    made.updatedAt = updatedAt;
    return made;
}

void ObservedLibrary::returns(Observation end)
{
    end.what = Happening::libraryReturns;
    recorder().add(std::move(end));
}

std::string ObservedLibrary::hash(std::string_view name, const Parameters& params)
{
    recorder().add(call(Happening::hostHashes, name, params, 0));
    std::string hash = client_->subscriptionHash(name, params);
    Observation end;
    end.text = hash;
    returns(std::move(end));
    return hash;
}

void ObservedLibrary::create(std::string_view name, const Parameters& params, double updatedAt)
{
    recorder().add(call(Happening::hostCreates, name, params, updatedAt));
    Observation end;
    end.text = client_->createSubscription(name, params, updatedAt);
    returns(std::move(end));
}

void ObservedLibrary::remove(std::string_view hash)
{
    recorder().add(call(Happening::hostRemoves, hash, std::nullopt, 0));
    client_->removeSubscription(hash);
}

void ObservedLibrary::setManagerAsFeed()
{
    Observation set;
    set.what = Happening::hostSetsFeed;
    set.source = model::Model::managerFeed;
    recorder().add(std::move(set));
    client_->setMessageFeedDelegate(managerFeed_);
}

void ObservedLibrary::setNewFeed(std::function<void()> onMessage)
{
    Observation set;
    set.what = Happening::hostSetsFeed;
    set.source = ++lastFeed_;
    recorder().add(std::move(set));
    client_->setMessageFeedDelegate(
        std::make_shared<SimulatedFeed>(recorder(), lastFeed_, feeds_, std::move(onMessage)));
}

void ObservedLibrary::takeFeed()
{
    recorder().add(Happening::hostSetsFeed);
    client_->setMessageFeedDelegate(nullptr);
}

void ObservedLibrary::readClient()
{
    recorder().add(Happening::hostReadsClient);
    Observation end;
    end.client = std::make_shared<const model::ClientTables>(tablesOf(client_->state()));
    returns(std::move(end));
}

void ObservedLibrary::addListener(std::string_view name, const Parameters& params, double updatedAt,
                                  std::int64_t number, std::shared_ptr<VexaSubscriptionListener> listener)
{
    Observation made = call(Happening::hostAdds, name, params, updatedAt);
    made.source = number;
    recorder().add(std::move(made));
    Observation end;
    end.number = manager_->addMessageListener(name, params, updatedAt, std::move(listener));
    lastListenerId_ = std::max(lastListenerId_, end.number);
    returns(std::move(end));
}

void ObservedLibrary::add(std::string_view name, const Parameters& params, double updatedAt,
                          std::function<void()> onMessage)
{
    const std::int64_t number = ++lastListener_;
    auto listener = std::make_shared<SimulatedListener>(recorder(), number, listeners_, std::move(onMessage));
    known_.emplace_back(number, listener);
    addListener(name, params, updatedAt, number, std::move(listener));
}

void ObservedLibrary::addAgain(std::string_view name, const Parameters& params, double updatedAt, std::size_t which)
{
    std::erase_if(known_, [](const auto& each) { return each.second.expired(); });
    if (!known_.empty()) {
        const auto& [number, listener] = known_[which % known_.size()];
        addListener(name, params, updatedAt, number, listener.lock());
    }
}

void ObservedLibrary::removeListener(std::int64_t id)
{
    Observation made;
    made.what = Happening::hostRemovesListener;
    made.number = id;
    recorder().add(std::move(made));
    manager_->removeMessageListener(id);
}

void ObservedLibrary::askListeners(std::string_view name, const Parameters& params)
{
    recorder().add(call(Happening::hostAsksListeners, name, params, 0));
    Observation end;
    end.ids = manager_->anyListenersFor(name, params);
    returns(std::move(end));
}

void ObservedLibrary::feedManager(std::string_view hash, const Message& message, bool isTerminating)
{
    Observation made = call(Happening::hostFeeds, hash, std::nullopt, 0);
    made.message = message;
    made.flag = isTerminating;
    recorder().add(std::move(made));
    manager_->messageFeed(hash, message, isTerminating);
}

void ObservedLibrary::readManager()
{
    recorder().add(Happening::hostReadsManager);
    Observation end;
    end.manager = std::make_shared<const model::ManagerTables>(tablesOf(manager_->state()));
    returns(std::move(end));
}

void ObservedLibrary::makeStream(std::string_view name, const Parameters& params, std::optional<double> updatedAt)
{
    const std::int64_t number = ++lastStream_;
    Observation made = call(Happening::hostMakesStream, name, params, updatedAt.value_or(0));
    made.source = number;
    made.flag = updatedAt.has_value();
    recorder().add(std::move(made));
    streams_.emplace(number, VexaSubscriptionStream::createStream(name, params, updatedAt, manager_));
    // The id shows only in the log.
    ++lastListenerId_;
    returns();
}

void ObservedLibrary::readStream(std::int64_t stream)
{
    AsyncStream<VexaSubscriptionStream::Element>& read = streams_.at(stream);
    Observation seen;
    seen.what = Happening::hostReadsStream;
    seen.source = stream;
    if (const auto element = read.waitFor(0)) {
        seen.number = static_cast<std::int64_t>(model::ReadResult::element);
        seen.message = element->message;
        seen.flag = element->isTerminating;
    } else {
        seen.number = static_cast<std::int64_t>(read.isExhausted() ? model::ReadResult::exhausted
                                                                   : model::ReadResult::nothingYet);
    }
    recorder().add(std::move(seen));
}

void ObservedLibrary::cancelStream(std::int64_t stream)
{
    Observation made;
    made.what = Happening::hostCancelsStream;
    made.source = stream;
    recorder().add(std::move(made));
    streams_.at(stream).cancel();
    returns();
}

void ObservedLibrary::dropStream(std::int64_t stream)
{
    Observation made;
    made.what = Happening::hostCancelsStream;
    made.source = stream;
    recorder().add(std::move(made));
    streams_.erase(stream);
    returns();
}

std::vector<std::int64_t> ObservedLibrary::streams() const
{
    std::vector<std::int64_t> numbers;
    numbers.reserve(streams_.size());
    for (const auto& [number, stream] : streams_) {
        numbers.push_back(number);
    }
    return numbers;
}

void ObservedLibrary::echo()
{
    recorder().add(Happening::hostEchoes);
    sender_->sendToEcho();
    returns();
}

void ObservedLibrary::noteQuiet()
{
    Observation quiet;
    quiet.what = Happening::allQuiet;
    quiet.ids.assign(listeners_->begin(), listeners_->end());
    quiet.feeds.assign(feeds_->begin(), feeds_->end());
    recorder().add(std::move(quiet));
}

} // namespace vexa::simulation
