#pragma once

#include <host/broker/Broker.hpp>
#include <host/service/RecentRecords.hpp>
#include <host/service/ServiceMessages.hpp>
#include <host/service/ServiceState.hpp>
#include <host/service/Session.hpp>
#include <VexaClient/platform/SerialQueue.hpp>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

namespace vexa::host {

/// The service's side of one client's connection: its subscriptions, the answers it waits for and the order of what
/// goes out. Everything but queue() belongs on the service's queue.
class ClientConnection final : public std::enable_shared_from_this<ClientConnection> {
public:
    ClientConnection(std::shared_ptr<ServiceState> service, SessionSink sink);

    [[nodiscard]] SerialQueue& queue() const noexcept { return *service_->queue; }

    /// Counts the connection among the sessions until it is closed.
    void open();

    void receive(const Message& message);
    void whenHandled(std::function<void()> then);
    void close();

private:
    struct Answer;

    /// A place in an answer that waits for a subscription.
    struct AnswerPlace {
        std::shared_ptr<Answer> answer;
        std::size_t position;
    };

    struct Subscription {
        std::string id;
        std::shared_ptr<const std::string> idText; ///< the id as a JSON text
        TopicLedger::Account* account = nullptr;   ///< of the topic; open as long as the subscription is
        std::int64_t number = 0;                   ///< at the broker
        std::uint64_t beginnings = 0;              ///< how often it was begun at the broker
        bool stands = false;                       ///< the broker has confirmed it
        std::size_t owedAnswers = 0;               ///< that name it
        double requestedFrom = 0;                  ///< the newest time that a request named; 0 for none
        double sentUntil = 0;                      ///< the time of the newest message that was sent; 0 for none
        std::vector<AnswerPlace> waiting;
        std::vector<Delivery> held; ///< while an answer is owed
    };

    /// The answer to one subscribe request, sent once nothing in it is unsettled.
    struct Answer {
        std::string operationId;
        std::vector<TopicAnswer> topics;
        std::size_t unsettled = 0;
        std::vector<std::weak_ptr<Subscription>> subscriptions; ///< weak, since they hold the answer while it waits
    };

    class TopicReceiver;

    // Subscriptions: ClientConnectionSubscriptions.cpp
    void subscribe(const Dictionary& message);

    /// The newest time that a request names for each of its topics; 0 for none.
    using NewestTimes = std::unordered_map<TopicKey, double>;
    [[nodiscard]] static NewestTimes newestTimes(const SubscribeRequest& request);

    /// Whether the client may have thrown away what was sent of a topic that it requests in another operation.
    [[nodiscard]] bool mayHaveMissedData(const std::string& operationId, const NewestTimes& newest) const;

    /// Why a topic cannot be served, if it cannot.
    [[nodiscard]] std::optional<ServiceError> refusalOf(const TopicKey& topic) const;
    void subscribeTo(const TopicRequest& topic, double newest, const std::shared_ptr<Answer>& answer,
                     std::size_t position);

    /// Has the broker serve a subscription, and forgets what it was to say of an earlier beginning.
    void beginAtBroker(const TopicKey& topic, const std::shared_ptr<Subscription>& subscription, double since);

    void subscribed(const std::shared_ptr<Subscription>& subscription);
    void refused(const TopicKey& topic, const std::shared_ptr<Subscription>& subscription, const ServiceError& reason);
    void received(Subscription& subscription, std::vector<Delivery> deliveries);

    // Publications: ClientConnectionPublications.cpp
    void publish(const Dictionary& message);
    void publicationAnswered();

    // Delivery: ClientConnectionDelivery.cpp
    void sendWhenSettled(const Answer& answer);
    void deliver(Subscription& subscription, std::vector<Delivery> deliveries);
    void noteNewMessages(TopicLedger::Account& account, const std::vector<Delivery>& deliveries);
    void sendAsDictionary(const Subscription& subscription, std::span<const Delivery> deliveries);
    void sendAsTexts(const Subscription& subscription, std::span<const Delivery> deliveries);

    void keepServerLogRecord(const Dictionary& message);
    void send(Dictionary message);
    void closeByService(ServiceError reason);

    const std::shared_ptr<ServiceState> service_;
    const SessionSink sink_;
    bool isOpen_ = false;
    std::unordered_map<TopicKey, std::shared_ptr<Subscription>> subscriptions_;
    std::uint64_t begunPublications_ = 0;
    std::uint64_t answeredPublications_ = 0;

    /// What is called once that many publications have been answered.
    struct Waiting {
        std::uint64_t publications;
        std::function<void()> then;
    };
    std::deque<Waiting> waiting_;
    RecentRecords<std::size_t> operations_; ///< hashes of the ids of the newest requests, to know a retry
};

} // namespace vexa::host
