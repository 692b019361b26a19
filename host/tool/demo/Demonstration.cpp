#include <host/tool/demo/Demonstration.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace {

constexpr std::string_view lateTopicName = "load";
constexpr std::string_view endedTopicName = "process";

/// Each style has its topics, so that a run shows them all.
FollowStyle styleFor(const Figure& figure)
{
    if (figure.topic == "network") {
        return FollowStyle::asioCoroutine;
    }
    if (figure.topic == "disk") {
        return FollowStyle::callback;
    }
    return figure.topic == endedTopicName ? FollowStyle::thread : FollowStyle::coroutine;
}

/// How old a live message is, in seconds; nothing for a replayed one.
std::optional<double> delayOf(const TopicElement& element, double now)
{
    const Dictionary* payload = dictionaryAt(*element.message, "payload");
    const auto updatedAt = payload != nullptr ? doubleAt(*payload, "updatedAt") : std::nullopt;
    if (!updatedAt || boolAt(*element.message, "replayed").value_or(false)) {
        return std::nullopt;
    }
    return now - *updatedAt;
}

} // namespace

std::shared_ptr<Demonstration> Demonstration::make(DemoParts parts, const DemoPlan& plan)
{
    return std::shared_ptr<Demonstration>{new Demonstration{std::move(parts), plan}};
}

Demonstration::Demonstration(DemoParts parts, const DemoPlan& plan)
    : parts_{std::move(parts)}, plan_{plan}, queue_{parts_.platform.makeQueue("vexademo")}
{}

void Demonstration::start()
{
    queue_->async([self = shared_from_this()] { self->begin(); });
}

void Demonstration::interrupt()
{
    queue_->async([self = shared_from_this()] {
        if (self->phase_ != Phase::publishing) {
            return;
        }
        self->wasInterrupted_ = true;
        self->drain();
    });
}

DemoSnapshot Demonstration::snapshot()
{
    return queue_->sync([this] {
        DemoSnapshot snapshot;
        snapshot.at = elapsed();
        snapshot.duration = plan_.duration;
        snapshot.rows = board_.rows(parts_.platform.monotonicNow());
        snapshot.totals = board_.totals();
        if (!isCut_ && parts_.stage.isOpen()) {
            snapshot.connection = reopenedAt_ ? ConnectionState::catchingUp : ConnectionState::open;
        }
        return snapshot;
    });
}

void Demonstration::at(double seconds, void (Demonstration::*step)())
{
    queue_->asyncAfter(seconds, [weak = weak_from_this(), step] {
        const auto self = weak.lock();
        if (self != nullptr && self->phase_ == Phase::publishing) {
            (self.get()->*step)();
        }
    });
}

void Demonstration::begin()
{
    phase_ = Phase::publishing;
    startedAt_ = parts_.platform.monotonicNow();
    topics_ = parts_.figures.sample(startedAt_);
    for (const Figure& figure : topics_) {
        board_.addTopic(figure);
    }
    lateTopic_ = topicNamed(lateTopicName);
    parts_.stage.open();
    for (std::size_t topic = 0; topic < topics_.size(); ++topic) {
        if (topic != lateTopic_) {
            followTopic(topic, styleFor(topics_[topic]));
        }
    }
    if (!topics_.empty()) {
        // A second stream of a topic that has one, so that the two share its subscription.
        followTopic(0, FollowStyle::asioCoroutine);
    }
    const StreamTotals totals = board_.totals();
    report("started", fmt::format("topics: {}, streams that follow them: {}", topics_.size(), totals.streams),
           {{"topics", topics_.size()}, {"streams", totals.streams}});

    sampling_ = queue_->startTimer({plan_.interval, plan_.interval, 0}, [weak = weak_from_this()] {
        if (const auto self = weak.lock()) {
            self->publishSample();
        }
    });
    at(plan_.echoAt, &Demonstration::sendEcho);
    at(plan_.lateStreamAt, &Demonstration::joinLate);
    at(plan_.cutAt, &Demonstration::cutConnection);
    at(plan_.endTopicAt, &Demonstration::endTopic);
    at(plan_.duration, &Demonstration::drain);
}

void Demonstration::followTopic(std::size_t topic, FollowStyle style)
{
    const std::size_t stream = board_.addStream(topic);
    FollowerEvents events;
    events.received = [weak = weak_from_this(), queue = queue_, &platform = parts_.platform,
                       stream](TopicElement element) {
        const auto delay = delayOf(element, platform.now());
        queue->async([weak, stream, element = std::move(element), delay] {
            if (const auto self = weak.lock()) {
                self->received(stream, element, delay);
            }
        });
    };
    events.ended = [weak = weak_from_this(), queue = queue_, stream] {
        queue->async([weak, stream] {
            if (const auto self = weak.lock()) {
                self->ended(stream);
            }
        });
    };
    const Figure& figure = topics_[topic];
    followers_.push_back(parts_.followers.follow(
        style,
        VexaSubscriptionStream::createStream(figure.topic, parts_.stage.parametersOf(figure.parameters), std::nullopt,
                                             parts_.manager),
        std::move(events)));
}

void Demonstration::publishSample()
{
    for (const Figure& figure : parts_.figures.sample(parts_.platform.monotonicNow())) {
        const auto topic = board_.indexOf(figure);
        if (topic && topic != endedTopic_) {
            topics_[*topic] = figure;
            parts_.stage.publish(figure.topic, parts_.stage.parametersOf(figure.parameters),
                                 payloadFor(*topic, figure));
        }
    }
}

void Demonstration::sendEcho()
{
    parts_.sendEcho();
    report("echoSent", "an echo message sent to the service");
}

void Demonstration::joinLate()
{
    if (!lateTopic_) {
        return;
    }
    const TopicRow row = board_.rows(parts_.platform.monotonicNow())[*lateTopic_];
    followTopic(*lateTopic_, FollowStyle::coroutine);
    report("lateStream",
           fmt::format("a stream joins late: {} {}, {} messages behind", row.topic, row.parameters, row.published),
           {{"topic", row.topic}, {"parameters", row.parameters}, {"behind", row.published}});
}

void Demonstration::cutConnection()
{
    isCut_ = true;
    replayedBefore_ = board_.totals().replayed;
    parts_.stage.cut();
    report("connectionCut", "the connection is cut; publishing goes on");
    // From now, so that the cut is as long as planned also where timers come late.
    at(plan_.reopenAt - plan_.cutAt, &Demonstration::reopenConnection);
}

void Demonstration::reopenConnection()
{
    isCut_ = false;
    reopenedAt_ = parts_.platform.monotonicNow();
    board_.mark();
    const std::uint64_t missing = board_.totals().missing;
    parts_.stage.open();
    report("connectionOpened", fmt::format("the connection opens again; the streams miss {} messages", missing),
           {{"missing", missing}});
    noteRecovery();
}

void Demonstration::endTopic()
{
    const auto topic = topicNamed(endedTopicName);
    if (!topic) {
        return;
    }
    endedTopic_ = topic;
    const Figure& figure = topics_[*topic];
    Dictionary last = payloadFor(*topic, figure);
    last["isTerminating"] = true;
    parts_.stage.publish(figure.topic, parts_.stage.parametersOf(figure.parameters), std::move(last));
}

void Demonstration::drain()
{
    phase_ = Phase::draining;
    sampling_->cancel();
    if (isCut_) {
        reopenConnection();
    }
    board_.mark();
    report("publishingEnded", "publishing ends; what is under way arrives");
    queue_->asyncAfter(plan_.patience, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self != nullptr && self->phase_ == Phase::draining) {
            self->cancelStreams();
        }
    });
    if (board_.hasCaughtUp()) {
        cancelStreams();
    }
}

void Demonstration::cancelStreams()
{
    phase_ = Phase::ending;
    for (const auto& follower : followers_) {
        follower->cancel();
    }
    if (board_.allEnded()) {
        finish();
        return;
    }
    queue_->asyncAfter(plan_.patience, [weak = weak_from_this()] {
        const auto self = weak.lock();
        if (self != nullptr && self->phase_ == Phase::ending) {
            self->finish();
        }
    });
}

void Demonstration::finish()
{
    phase_ = Phase::finished;
    parts_.observer.finished(summary());
}

void Demonstration::received(std::size_t stream, const TopicElement& element, std::optional<double> delay)
{
    board_.received(stream, element, parts_.platform.monotonicNow());
    if (delay) {
        delays_.add(*delay);
    }
    if (element.isTerminating && endedTopic_ && !std::exchange(endWasReported_, true)) {
        const TopicRow row = board_.rows(parts_.platform.monotonicNow())[*endedTopic_];
        report("topicEnded", fmt::format("the service ended the topic {} {}", row.topic, row.parameters),
               {{"topic", row.topic}, {"parameters", row.parameters}});
    }
    noteRecovery();
    if (phase_ == Phase::draining && board_.hasCaughtUp()) {
        cancelStreams();
    }
}

void Demonstration::ended(std::size_t stream)
{
    board_.ended(stream, phase_ == Phase::ending);
    if (phase_ == Phase::ending && board_.allEnded()) {
        finish();
    }
}

void Demonstration::noteRecovery()
{
    if (!reopenedAt_ || !board_.hasCaughtUp()) {
        return;
    }
    const double seconds = parts_.platform.monotonicNow() - *reopenedAt_;
    const std::uint64_t replayed = board_.totals().replayed - replayedBefore_;
    reopenedAt_.reset();
    report("caughtUp",
           fmt::format("every stream has caught up: {} messages replayed in {:.0f} ms", replayed, seconds * 1e3),
           {{"replayed", replayed}, {"seconds", seconds}});
}

Dictionary Demonstration::payloadFor(std::size_t topic, const Figure& figure)
{
    const std::string_view unit = unitName(figure.unit);
    Dictionary payload = figure.details;
    payload[{TopicBoard::sequenceKey.data(), TopicBoard::sequenceKey.size()}] = board_.publishNext(topic);
    payload["value"] = figure.value;
    payload["unit"] = boost::json::string_view{unit.data(), unit.size()};
    return payload;
}

std::optional<std::size_t> Demonstration::topicNamed(std::string_view name) const
{
    const auto found =
        std::find_if(topics_.rbegin(), topics_.rend(), [name](const Figure& each) { return each.topic == name; });
    return found != topics_.rend() ? std::optional{static_cast<std::size_t>(topics_.rend() - found) - 1} : std::nullopt;
}

double Demonstration::elapsed()
{
    return phase_ == Phase::waiting ? 0 : parts_.platform.monotonicNow() - startedAt_;
}

DemoSummary Demonstration::summary()
{
    const DemoStageFigures figures = parts_.stage.figures();
    DemoSummary summary;
    summary.seconds = elapsed();
    summary.totals = board_.totals();
    summary.ends = board_.ends();
    summary.topicWasEnded = endedTopic_ && board_.wasTerminated(*endedTopic_);
    summary.openings = figures.openings;
    summary.echoes = figures.echoes;
    summary.diagnosticReports = figures.diagnosticReports;
    summary.medianDelay = delays_.quantile(0.5);
    summary.slowDelay = delays_.quantile(0.99);
    summary.wasInterrupted = wasInterrupted_;
    return summary;
}

void Demonstration::report(std::string name, std::string text, Dictionary details)
{
    parts_.observer.happened({elapsed(), std::move(name), std::move(text), std::move(details)});
}

} // namespace vexa::host
