#include <host/service/ClientConnection.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>
#include <functional>
#include <iterator>
#include <utility>

namespace vexa::host {

namespace {

/// More than a client has unanswered at a time. A retry of one that was forgotten costs a connection, no message.
constexpr std::size_t rememberedOperations = 256;

/// The time of a message, in seconds since 1970.
double timeOf(const Delivery& delivery)
{
    return doubleAt(*delivery.payload, "updatedAt").value_or(0);
}

} // namespace

/// Brings what the broker says about one subscription onto the service's queue.
class ClientConnection::TopicReceiver final : public BrokerReceiver {
public:
    TopicReceiver(const std::shared_ptr<ClientConnection>& connection, TopicKey topic,
                  std::shared_ptr<Subscription> subscription)
        : connection_{connection},
          queue_{connection->service_->queue},
          topic_{std::move(topic)},
          subscription_{std::move(subscription)}
    {}

    void subscribed() override
    {
        queue_->async([connection = connection_, subscription = subscription_] {
            if (const auto open = connection.lock()) {
                open->subscribed(subscription);
            }
        });
    }

    void refused(ServiceError reason) override
    {
        queue_->async(
            [connection = connection_, topic = topic_, subscription = subscription_, reason = std::move(reason)] {
                if (const auto open = connection.lock()) {
                    open->refused(topic, subscription, reason);
                }
            });
    }

    void received(std::vector<Delivery> deliveries) override
    {
        queue_->async(
            [connection = connection_, subscription = subscription_, deliveries = std::move(deliveries)]() mutable {
                if (const auto open = connection.lock()) {
                    open->received(*subscription, std::move(deliveries));
                }
            });
    }

private:
    const std::weak_ptr<ClientConnection> connection_;
    const SerialQueueHandle queue_;
    const TopicKey topic_;
    const std::shared_ptr<Subscription> subscription_;
};

ClientConnection::ClientConnection(std::shared_ptr<ServiceState> service, SessionSink sink)
    : service_{std::move(service)}, sink_{std::move(sink)}, operations_{rememberedOperations}
{}

void ClientConnection::open()
{
    isOpen_ = true;
    ++service_->figures.sessions;
}

void ClientConnection::receive(const Message& message)
{
    if (!isOpen_) {
        return;
    }
    if (message == nullptr) {
        ++service_->figures.malformed;
        return;
    }
    switch (kindOf(*message)) {
    case MessageKind::subscribe:
        subscribe(*message);
        return;
    case MessageKind::publish:
        publish(*message);
        return;
    case MessageKind::serverLog:
        keepServerLogRecord(*message);
        return;
    case MessageKind::echo:
        ++service_->figures.echoes;
        service_->echoes.add(message);
        return;
    case MessageKind::unknown:
        ++service_->figures.unknown;
        return;
    }
}

void ClientConnection::whenHandled(std::function<void()> then)
{
    if (answeredPublications_ < begunPublications_) {
        waiting_.push_back({begunPublications_, std::move(then)});
        return;
    }
    callGuarded(service_->platform, "who waits for a session", then);
}

void ClientConnection::close()
{
    if (!std::exchange(isOpen_, false)) {
        return;
    }
    for (const auto& [topic, subscription] : subscriptions_) {
        service_->broker->cancel(subscription->number);
        TopicLedger::subscriptionEnded(*subscription->account);
    }
    service_->figures.subscriptions -= subscriptions_.size();
    --service_->figures.sessions;
    subscriptions_.clear();
}

void ClientConnection::subscribe(const Dictionary& message)
{
    const auto request = readSubscribeRequest(message);
    if (!request) {
        ++service_->figures.malformed;
        return;
    }
    if (request->error) {
        ++service_->figures.malformed;
        send(subscriptionResponse(request->operationId, {}, request->error));
        return;
    }
    const NewestTimes newest = newestTimes(*request);
    if (mayHaveMissedData(request->operationId, newest)) {
        closeByService({"Ambiguous", "A topic was requested again, and it is unknown what of it has arrived"});
        return;
    }
    operations_.add(std::hash<std::string>{}(request->operationId));
    const auto answer = std::make_shared<Answer>();
    answer->operationId = request->operationId;
    answer->topics.resize(request->topics.size());
    bool isWhole = true;
    for (std::size_t position = 0; position < request->topics.size(); ++position) {
        if (const auto* topic = std::get_if<TopicRequest>(&request->topics[position])) {
            subscribeTo(*topic, newest.at(topic->topic), answer, position);
        } else {
            isWhole = false;
            answer->topics[position] = std::get<ServiceError>(request->topics[position]);
        }
    }
    if (!isWhole) {
        ++service_->figures.malformed;
    }
    sendWhenSettled(*answer);
}

ClientConnection::NewestTimes ClientConnection::newestTimes(const SubscribeRequest& request)
{
    NewestTimes newest;
    for (const auto& each : request.topics) {
        if (const auto* topic = std::get_if<TopicRequest>(&each)) {
            double& time = newest[topic->topic];
            time = std::max(time, topic->updatedAt);
        }
    }
    return newest;
}

bool ClientConnection::mayHaveMissedData(const std::string& operationId, const NewestTimes& newest) const
{
    const bool isBehind = std::any_of(newest.begin(), newest.end(), [this](const auto& each) {
        const auto found = subscriptions_.find(each.first);
        return found != subscriptions_.end() && each.second < found->second->sentUntil;
    });
    // A retry repeats a request whose answer is on its way, and with it all that was sent.
    const auto& known = operations_.all();
    return isBehind && std::find(known.begin(), known.end(), std::hash<std::string>{}(operationId)) == known.end();
}

std::optional<ServiceError> ClientConnection::refusalOf(const TopicKey& topic) const
{
    if (topic.text().size() > service_->limits.topicBytes) {
        return ServiceError{"TopicTooLong", joined({"The name and the parameters of a topic may take ",
                                                    std::to_string(service_->limits.topicBytes), " bytes as JSON"})};
    }
    return std::nullopt;
}

void ClientConnection::subscribeTo(const TopicRequest& topic, double newest, const std::shared_ptr<Answer>& answer,
                                   std::size_t position)
{
    if (const auto refusal = refusalOf(topic.topic)) {
        answer->topics[position] = *refusal;
        return;
    }
    auto found = subscriptions_.find(topic.topic);
    if (found == subscriptions_.end()) {
        if (subscriptions_.size() >= service_->limits.subscriptionsPerSession) {
            answer->topics[position] =
                ServiceError{"TooManySubscriptions", "This connection has as many subscriptions as it may"};
            return;
        }
        const auto subscription = std::make_shared<Subscription>();
        subscription->id = service_->nextSubscriptionId();
        subscription->idText = std::make_shared<const std::string>(joined({"\"", subscription->id, "\""}));
        subscription->account = &service_->topics.subscriptionBegan(topic.topic, service_->platform.monotonicNow());
        found = subscriptions_.emplace(topic.topic, subscription).first;
        ++service_->figures.subscriptions;
        subscription->number = service_->broker->subscribe(
            topic.topic, newest, std::make_shared<TopicReceiver>(shared_from_this(), topic.topic, subscription));
    }
    const std::shared_ptr<Subscription>& subscription = found->second;
    subscription->requestedFrom = std::max(subscription->requestedFrom, newest);
    if (topic.updatedAt < subscription->requestedFrom) {
        // A client takes the time of the last request that succeeds for its own, and would ask for what it has.
        answer->topics[position] =
            ServiceError{"AlreadySubscribed", "The topic is subscribed on this connection, from a later time"};
        return;
    }
    answer->topics[position] = subscription->id;
    answer->subscriptions.push_back(subscription);
    ++subscription->owedAnswers;
    if (!subscription->stands) {
        ++answer->unsettled;
        subscription->waiting.push_back({answer, position});
    }
}

void ClientConnection::publish(const Dictionary& message)
{
    auto request = readPublishRequest(message);
    if (!request) {
        ++service_->figures.malformed;
        return;
    }
    if (const auto* error = std::get_if<ServiceError>(&request->publication)) {
        ++service_->figures.malformed;
        send(publishResponse(request->requestId, {0, *error}));
        return;
    }
    if (const auto refusal = refusalOf(std::get<Publication>(request->publication).topic)) {
        send(publishResponse(request->requestId, {0, refusal}));
        return;
    }
    PublishCompletion answer = [self = shared_from_this(), requestId = request->requestId](
                                   const PublishResult& result) { self->send(publishResponse(requestId, result)); };
    std::string name;
    if (!request->publisher.empty()) {
        name = joined({request->publisher, "\n", request->requestId});
        if (!service_->publications.begin(name, std::move(answer))) {
            ++service_->figures.repeated;
            return;
        }
        answer = [service = service_, name](const PublishResult& result) {
            service->publications.settle(name, result);
        };
    }
    auto publication = std::get<Publication>(std::move(request->publication));
    PublishCompletion completion = [self = shared_from_this(), topic = publication.topic,
                                    answer = std::move(answer)](PublishResult result) {
        self->queue().async([self, topic, answer, result = std::move(result)] {
            self->service_->countPublication(topic, result);
            answer(result);
            self->publicationAnswered();
        });
    };
    ++begunPublications_;
    Broker& broker = *service_->broker;
    if (name.empty()) {
        broker.publish(std::move(publication.topic), std::move(publication.payloads), std::move(completion));
    } else {
        broker.publishOnce(name, std::move(publication.topic), std::move(publication.payloads), std::move(completion));
    }
}

void ClientConnection::publicationAnswered()
{
    ++answeredPublications_;
    while (!waiting_.empty() && waiting_.front().publications <= answeredPublications_) {
        const auto then = std::move(waiting_.front().then);
        waiting_.pop_front();
        callGuarded(service_->platform, "who waits for a session", then);
    }
}

void ClientConnection::keepServerLogRecord(const Dictionary& message)
{
    auto record = readServerLogRecord(message);
    if (!record) {
        ++service_->figures.malformed;
        return;
    }
    record->receivedAt = service_->platform.now();
    ++service_->figures.serverLogRecords;
    service_->topics.report(record->blob);
    service_->serverLogRecords.add(std::move(*record));
}

void ClientConnection::subscribed(const std::shared_ptr<Subscription>& subscription)
{
    subscription->stands = true;
    for (const AnswerPlace& place : std::exchange(subscription->waiting, {})) {
        --place.answer->unsettled;
        sendWhenSettled(*place.answer);
    }
}

void ClientConnection::refused(const TopicKey& topic, const std::shared_ptr<Subscription>& subscription,
                               const ServiceError& reason)
{
    const auto found = subscriptions_.find(topic);
    if (found == subscriptions_.end() || found->second != subscription) {
        return;
    }
    // Forgotten, so that a later request for the topic asks the broker again.
    TopicLedger::subscriptionEnded(*subscription->account);
    subscriptions_.erase(found);
    --service_->figures.subscriptions;
    for (const AnswerPlace& place : std::exchange(subscription->waiting, {})) {
        --place.answer->unsettled;
        place.answer->topics[place.position] = reason;
        sendWhenSettled(*place.answer);
    }
}

void ClientConnection::received(Subscription& subscription, std::vector<Delivery> deliveries)
{
    if (subscription.owedAnswers == 0) {
        deliver(subscription, std::move(deliveries));
        return;
    }
    // The client may not know whose messages these are before it has the answer.
    std::move(deliveries.begin(), deliveries.end(), std::back_inserter(subscription.held));
}

void ClientConnection::sendWhenSettled(const Answer& answer)
{
    if (answer.unsettled > 0) {
        return;
    }
    send(subscriptionResponse(answer.operationId, answer.topics));
    for (const auto& named : answer.subscriptions) {
        const auto subscription = named.lock();
        if (subscription != nullptr && --subscription->owedAnswers == 0) {
            deliver(*subscription, std::exchange(subscription->held, {}));
        }
    }
}

void ClientConnection::deliver(Subscription& subscription, std::vector<Delivery> deliveries)
{
    // A request that came after the one for which the broker began the replay may have named a later time.
    std::erase_if(deliveries, [&subscription](const Delivery& each) {
        return each.isReplayed && timeOf(each) <= subscription.requestedFrom;
    });
    if (deliveries.empty() || !isOpen_) {
        return;
    }
    subscription.sentUntil = timeOf(deliveries.back());
    noteNewMessages(*subscription.account, deliveries);
    const std::size_t atMost = std::max<std::size_t>(1, service_->limits.entriesPerDataMessage);
    for (std::span<const Delivery> rest{deliveries}; !rest.empty();) {
        const auto part = rest.first(std::min(atMost, rest.size()));
        rest = rest.subspan(part.size());
        const auto replayed = static_cast<std::size_t>(
            std::count_if(part.begin(), part.end(), [](const Delivery& each) { return each.isReplayed; }));
        service_->figures.replayed += replayed;
        service_->figures.delivered += part.size();
        subscription.account->replayed += replayed;
        subscription.account->delivered += part.size();
        if (sink_.deliver) {
            sendAsTexts(subscription, part);
        } else {
            sendAsDictionary(subscription, part);
        }
    }
}

void ClientConnection::noteNewMessages(TopicLedger::Account& account, const std::vector<Delivery>& deliveries)
{
    const auto lastKnown = std::find_if(deliveries.rbegin(), deliveries.rend(), [&account](const Delivery& each) {
        return each.isReplayed || timeOf(each) <= account.newest;
    });
    const auto count = static_cast<std::size_t>(lastKnown - deliveries.rbegin());
    if (count > 0) {
        account.noteReceived(count, timeOf(deliveries.back()), service_->platform.monotonicNow());
    }
}

void ClientConnection::sendAsDictionary(const Subscription& subscription, std::span<const Delivery> deliveries)
{
    List entries;
    entries.reserve(deliveries.size());
    for (const Delivery& each : deliveries) {
        entries.push_back(dataEntry(subscription.id, each));
    }
    send(dataMessage(service_->platform.now(), std::move(entries)));
}

void ClientConnection::sendAsTexts(const Subscription& subscription, std::span<const Delivery> deliveries)
{
    DataBatch batch{service_->platform.now(), subscription.idText, {}};
    batch.entries.reserve(deliveries.size());
    for (const Delivery& each : deliveries) {
        batch.entries.push_back({service_->payloadTexts.textOf(each.payload), each.isReplayed});
    }
    callGuarded(service_->platform, "the sink of a session", [&] { sink_.deliver(std::move(batch)); });
}

void ClientConnection::send(Dictionary message)
{
    if (isOpen_ && sink_.send) {
        callHost(service_->platform, "the sink of a session", [&] { sink_.send(std::move(message)); });
    }
}

void ClientConnection::closeByService(ServiceError reason)
{
    ++service_->figures.closedByService;
    close();
    if (sink_.closed) {
        callHost(service_->platform, "the sink of a session", [&] { sink_.closed(std::move(reason)); });
    }
}

} // namespace vexa::host
