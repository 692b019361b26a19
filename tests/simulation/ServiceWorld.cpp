#include "tests/simulation/ServiceWorld.hpp"

#include "tests/model/Replay.hpp"
#include <host/broker/MemoryBroker.hpp>
#include <host/service/ServiceMessages.hpp>

#include <boost/json/parse.hpp>

#include <algorithm>
#include <array>
#include <numeric>
#include <utility>

namespace vexa::simulation {

namespace {

constexpr std::size_t mostStreams = 8;
constexpr std::size_t mostListeners = 4;

ServiceEvent drawEvent(Draws& draws)
{
    static constexpr std::size_t allWeights =
        std::accumulate(serviceEventWeights.begin(), serviceEventWeights.end(), std::size_t{0});
    std::size_t drawn = draws.below(allWeights);
    std::size_t chosen = 0;
    while (drawn >= serviceEventWeights.at(chosen)) {
        drawn -= serviceEventWeights.at(chosen++);
    }
    return static_cast<ServiceEvent>(chosen);
}

void require(bool holds, const std::string& expected, const std::string& observed)
{
    if (!holds) {
        throw model::Difference{expected, observed, 0};
    }
}

} // namespace

ServiceWorld::ServiceWorld(std::uint64_t seed, Coverage& coverage)
    : coverage_{coverage}, platform_{seed, testing::VirtualOptions{seed % 2 == 0}}
{
    topics_.push_back({0, "scores", std::nullopt, {}, 0});
    topics_.push_back({1, "scores", Value(boost::json::parse(R"({"league":4})")), {}, 0});
    topics_.push_back({2, "news", std::nullopt, {}, 0});

    host::ServiceLimits limits;
    limits.entriesPerDataMessage = 1 + seed % 7;
    service_ = std::make_shared<host::VexaService>(host::MemoryBroker::make({}, platform_), limits, platform_);
    host::EmbeddedTransportOptions options;
    options.throughText = seed % 3 == 0;
    options.keptWhileClosed = 100'000;
    transport_ = host::EmbeddedTransport::make(service_, options, platform_);
    container_.oruClient(std::make_shared<CountedTransport>(transport_, account_));
    library_.emplace(platform_, container_);
}

ServiceWorld::~ServiceWorld()
{
    followings_.clear();
    container_.oruClient(nullptr);
}

ServiceWorld::Step ServiceWorld::step(std::size_t number)
{
    Draws draws{mixed(platform_.seed(), number + 1)};
    const ServiceEvent event = drawEvent(draws);
    const bool wasPossible = perform(event, draws);
    if (draws.oneIn(2)) {
        platform_.runUntilIdle();
        read();
    } else {
        for (std::size_t items = draws.below(25); items > 0; --items) {
            platform_.runOne();
        }
    }
    return {event, wasPossible};
}

bool ServiceWorld::perform(ServiceEvent event, Draws& draws)
{
    PublishedTopic& topic = topics_[draws.below(topics_.size())];
    switch (event) {
    case ServiceEvent::publishes:
        return publish(topic, 1);
    case ServiceEvent::publishesSeveral:
        return publish(topic, 2 + draws.below(10));
    case ServiceEvent::ends:
        return end(topic);
    case ServiceEvent::follows:
        return follow(topic, std::nullopt);
    case ServiceEvent::resumes:
        return resume(topic);
    case ServiceEvent::reads:
        read();
        return true;
    case ServiceEvent::cancels:
        if (followings_.empty()) {
            return false;
        } else {
            Following& chosen = *draws.oneOf(followings_);
            chosen.stream.cancel();
            chosen.isCancelled = true;
            return true;
        }
    case ServiceEvent::drops:
        if (followings_.empty()) {
            return false;
        }
        followings_.erase(followings_.begin() + static_cast<std::ptrdiff_t>(draws.below(followings_.size())));
        return true;
    case ServiceEvent::listens:
        return listen(topic);
    case ServiceEvent::listensNoMore:
        return listenNoMore(draws);
    case ServiceEvent::opens:
        return open();
    case ServiceEvent::closes:
        return close();
    case ServiceEvent::losesRequests:
        return loseRequests();
    case ServiceEvent::wallClockJumps: {
        constexpr std::array spans{-86400.0, -61.0, 61.0, 3600.0};
        platform_.clock.jump(draws.oneOf(spans));
        return true;
    }
    case ServiceEvent::visibilityChanges:
        transport_->setVisible(draws.oneIn(2));
        return true;
    case ServiceEvent::secondsPass:
        platform_.clock.advance(static_cast<double>(draws.below(8)));
        return true;
    case ServiceEvent::minutesPass:
        platform_.clock.advance(40.0 + static_cast<double>(draws.below(100)));
        return true;
    }
    return false;
}

bool ServiceWorld::publish(PublishedTopic& topic, std::size_t count)
{
    std::vector<Dictionary> payloads;
    for (std::size_t i = 0; i < count; ++i) {
        Dictionary payload;
        payload["topic"] = topic.number;
        payload["number"] = topic.terminates.size();
        payloads.push_back(std::move(payload));
        topic.terminates.push_back(false);
    }
    if (!transport_->isOpen()) {
        note(ServiceFact::publishedWhileClosed);
    }
    service_->publish(topic.name, topic.params, std::move(payloads));
    return true;
}

bool ServiceWorld::end(PublishedTopic& topic)
{
    Dictionary payload;
    payload["topic"] = topic.number;
    payload["number"] = topic.terminates.size();
    topic.terminates.push_back(true);
    service_->end(topic.name, topic.params, std::move(payload));
    return true;
}

std::size_t ServiceWorld::noteFollower(PublishedTopic& topic)
{
    bool isShared = false;
    for (const auto& each : followings_) {
        isShared = isShared || (&each->account.topic() == &topic && !each->isCancelled && !each->account.hasEnded());
    }
    if (isShared) {
        note(ServiceFact::sharedSubscription);
    } else if (topic.followers > 0) {
        note(ServiceFact::followedAgain);
    }
    // The end of a topic may be on its way, and leave nobody.
    const bool revives = topic.followers > 0 && (!isShared || topic.everEnded());
    const std::size_t promisedFrom = revives ? account_.gotUntil[topic.number] : 0;
    if (!topic.terminates.empty() && topic.terminates.back()) {
        note(ServiceFact::followedAfterEnd);
    }
    ++topic.followers;
    return promisedFrom;
}

bool ServiceWorld::follow(PublishedTopic& topic, std::optional<double> updatedAt)
{
    if (followings_.size() >= mostStreams) {
        return false;
    }
    const std::size_t promisedFrom = noteFollower(topic);
    ++streams_;
    followings_.push_back(std::make_unique<Following>(
        Following{VexaSubscriptionStream::createStream(topic.name, topic.params, updatedAt, library_->manager()),
                  FollowerAccount{topic, promisedFrom}}));
    return true;
}

bool ServiceWorld::resume(PublishedTopic& topic)
{
    const auto seen = seenUntil_.find(&topic);
    return seen != seenUntil_.end() && follow(topic, seen->second);
}

bool ServiceWorld::listen(PublishedTopic& topic)
{
    if (listenings_.size() >= mostListeners) {
        return false;
    }
    auto listener = std::make_shared<FollowingListener>(topic, noteFollower(topic));
    const std::int64_t id = library_->manager()->addMessageListener(topic.name, topic.params, 0, listener);
    listenings_.push_back({id, std::move(listener)});
    return true;
}

bool ServiceWorld::listenNoMore(Draws& draws)
{
    if (listenings_.empty()) {
        return false;
    }
    const auto chosen = listenings_.begin() + static_cast<std::ptrdiff_t>(draws.below(listenings_.size()));
    library_->manager()->removeMessageListener(chosen->id);
    platform_.runUntilIdle();
    chosen->listener->rethrow();
    chosen->listener->isRemoved = true;
    return true;
}

bool ServiceWorld::open()
{
    if (std::exchange(losesRequests_, false)) {
        transport_->close();
        transport_->lose(host::TrafficDirection::toService, {});
    }
    transport_->open();
    return true;
}

bool ServiceWorld::loseRequests()
{
    // A connection keeps what it carries whole and in order, so that one which has lost a request brings no later one.
    losesRequests_ = true;
    transport_->lose(host::TrafficDirection::toService, [lost = lost_](const Dictionary& message) {
        const bool isRequest = host::kindOf(message) == host::MessageKind::subscribe;
        *lost += isRequest ? 1U : 0U;
        return isRequest;
    });
    return true;
}

bool ServiceWorld::close()
{
    if (transport_->isOpen() && !followings_.empty()) {
        note(ServiceFact::cutWithFollowers);
    }
    transport_->close();
    return true;
}

void ServiceWorld::read(Following& following)
{
    while (const auto element = following.stream.waitFor(0)) {
        following.account.take(element->message, element->isTerminating);
        const double updatedAt = element->message->at("payload").at("updatedAt").to_number<double>();
        double& seen = seenUntil_[&following.account.topic()];
        seen = std::max(seen, updatedAt);
        note(ServiceFact::elementRead);
        if (element->message->contains("replayed")) {
            note(ServiceFact::replayedRead);
        }
        if (element->isTerminating) {
            note(ServiceFact::lastElementRead);
        }
    }
    if (following.account.hasEnded()) {
        require(following.stream.isExhausted(), "the end of the stream after its last element", "none");
    }
}

void ServiceWorld::read()
{
    for (const auto& each : followings_) {
        read(*each);
    }
    for (const Listening& each : listenings_) {
        each.listener->rethrow();
        if (each.listener->calls > 0) {
            note(ServiceFact::listenerCalled);
        }
        if (each.listener->account.hasEnded()) {
            note(ServiceFact::listenerCalledLast);
        }
    }
}

void ServiceWorld::finish()
{
    losesRequests_ = true;
    open();
    platform_.runUntilIdle();
    for (PublishedTopic& topic : topics_) {
        publish(topic, 1);
    }
    platform_.runUntilIdle();
    read();
    for (const auto& each : followings_) {
        if (!each->isCancelled) {
            each->account.requireUpToDate();
        }
    }
    for (const Listening& each : listenings_) {
        if (!each.listener->isRemoved) {
            each.listener->account.requireUpToDate();
        }
    }
    if (*lost_ > 0) {
        note(ServiceFact::requestLost);
    }
    if (service_->figures().closedByService > 0) {
        note(ServiceFact::closedByService);
    }

    followings_.clear();
    for (const Listening& each : listenings_) {
        library_->manager()->removeMessageListener(each.id);
    }
    platform_.runUntilIdle();
    const VexaOruSubscriptionManager::State state = library_->manager()->state();
    require(state.listenersById.empty() && state.listenersBySub.empty(), "empty tables of the manager",
            std::to_string(state.listenersById.size()) + " listeners");
    requireEveryStreamEndedOnce();
    requireReports();
}

void ServiceWorld::requireEveryStreamEndedOnce()
{
    std::map<std::string, int> ends;
    std::size_t begun = 0;
    for (const std::string& line : platform_.takeLogLines()) {
        constexpr std::string_view registered = "VEXA: VexaSubscriptionStream registered listener - ";
        constexpr std::string_view unregistered = "VEXA: VexaSubscriptionStream unregistered listener - ";
        begun += line.starts_with(registered) ? 1U : 0U;
        if (line.starts_with(unregistered)) {
            ++ends[line.substr(unregistered.size())];
        }
    }
    require(begun == streams_ && ends.size() == streams_, std::to_string(streams_) + " streams that began and ended",
            std::to_string(begun) + " that began, " + std::to_string(ends.size()) + " that ended");
    for (const auto& [id, times] : ends) {
        require(times == 1, "one end of the stream " + id, std::to_string(times));
    }
}

void ServiceWorld::requireReports()
{
    constexpr double untilEveryReportIsOut = 301.0;
    platform_.clock.advance(untilEveryReportIsOut);
    require(account_.owedReports == account_.madeReports,
            std::to_string(account_.owedReports.size()) + " delivery reports, one for each data message",
            std::to_string(account_.madeReports.size()) + " delivery reports");
    const host::ServiceFigures figures = service_->figures();
    require(figures.serverLogRecords == account_.records, std::to_string(account_.records) + " records at the service",
            std::to_string(figures.serverLogRecords));
    require(figures.malformed == 0 && figures.unknown == 0, "no message that the service cannot read",
            std::to_string(figures.malformed + figures.unknown));
    if (!account_.madeReports.empty()) {
        note(ServiceFact::deliveryReported);
    }
    if (account_.timeouts > 0) {
        note(ServiceFact::timeoutReported);
    }
    if (account_.waited > 0) {
        note(ServiceFact::reportWaited);
    }
}

} // namespace vexa::simulation
