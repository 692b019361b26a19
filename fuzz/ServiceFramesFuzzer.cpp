// Bytes as frames to the service, from three clients. Each line of the input is one step:
//
//     1 FRAME        client 1 sends the frame; so do 2, which has its data as texts, and 3, whose sink throws
//     close 1        client 1 closes its connection; it connects again with its next frame
//     wait 5         five seconds pass; one digit
//
// Frames that follow each other are on their way together; any other line lets the service handle what has come.
// Whatever comes, each request is answered once, no client gets a message twice or out of order, and nothing that the
// service keeps grows beyond its limits.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <host/broker/MemoryBroker.hpp>
#include <host/service/VexaService.hpp>
#include <host/wire/MessageText.hpp>
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace vexa::fuzz {

namespace {

using namespace vexa::host;

constexpr ServiceLimits limits{.subscriptionsPerSession = 4,
                               .entriesPerDataMessage = 2,
                               .keptServerLogRecords = 3,
                               .keptEchoes = 3,
                               .knownPublications = 3,
                               .countedTopics = 3};
constexpr MemoryBrokerLimits brokerLimits{.messagesPerTopic = 6, .maximumAge = 30.0, .topics = 6};

/// How a client takes its data.
enum class Style : std::uint8_t { dictionaries, texts, throwing };

/// The dictionary in a text that the service has sent.
Dictionary readBack(std::string_view text)
{
    boost::system::error_code error;
    Dictionary dictionary = readMessage(text, error);
    require(!error);
    return dictionary;
}

/// One connection of a client: what was asked for on it, and what has come.
class Connection {
public:
    Connection(Style style, std::uint64_t& delivered) noexcept : style_{style}, delivered_{delivered} {}

    void requested(const Dictionary& message)
    {
        switch (kindOf(message)) {
        case MessageKind::subscribe:
            subscribes_ += readSubscribeRequest(message) ? 1 : 0;
            return;
        case MessageKind::publish:
            publishes_ += readPublishRequest(message) ? 1 : 0;
            return;
        default:
            return;
        }
    }

    void received(const Dictionary& message)
    {
        require(readBack(messageText(message)) == message);
        require(stringAt(message, "category") == "vexa");
        const auto type = stringAt(message, "type");
        if (type == "subscriptionResponse") {
            receivedAnswer(message);
        } else if (type == "publishResponse") {
            require(readPublishResponse(message).has_value());
            --publishes_;
        } else {
            require(type == "data" && style_ != Style::texts);
            receivedData(message);
        }
        if (style_ == Style::throwing) {
            throw std::runtime_error{"a sink that fails"};
        }
    }

    void received(const DataBatch& batch)
    {
        const std::string& id = *batch.subscriptionId;
        require(id.size() >= 2 && id.front() == '"' && id.back() == '"');
        require(!batch.entries.empty() && batch.entries.size() <= limits.entriesPerDataMessage);
        for (const DataEntry& entry : batch.entries) {
            const Dictionary payload = readBack(entry.payload->text);
            require(boolAt(payload, "isTerminating").value_or(false) == entry.payload->isTerminating);
            receivedPayload(std::string_view{id}.substr(1, id.size() - 2), payload);
        }
    }

    void closedByService(const ServiceError& reason)
    {
        require(!reason.error.empty() && !reason.errorMessage.empty());
        isOpen_ = false;
    }

    [[nodiscard]] bool isOpen() const noexcept { return isOpen_; }

    /// Whether each request has been answered.
    [[nodiscard]] bool isAnswered() const noexcept { return subscribes_ == 0 && publishes_ == 0; }

private:
    void receivedAnswer(const Dictionary& message)
    {
        --subscribes_;
        const List* topics = dictionariesAt(message, "topics");
        require(stringAt(message, "operationId") && topics != nullptr);
        for (const Value& topic : *topics) {
            const auto subscriptionId = stringAt(topic.get_object(), "subscriptionId");
            require(boolAt(topic.get_object(), "success") == subscriptionId.has_value());
            if (subscriptionId) {
                newest_.emplace(*subscriptionId, 0);
            }
        }
    }

    void receivedData(const Dictionary& message)
    {
        const List* entries = dictionariesAt(message, "messages");
        require(entries != nullptr && !entries->empty() && entries->size() <= limits.entriesPerDataMessage);
        for (const Value& entry : *entries) {
            const auto subscriptionId = stringAt(entry.get_object(), "subscriptionId");
            const Dictionary* payload = dictionaryAt(entry.get_object(), "payload");
            require(subscriptionId && payload != nullptr);
            receivedPayload(*subscriptionId, *payload);
        }
    }

    /// A message belongs to a subscription that has been confirmed, and is newer than those before it.
    void receivedPayload(std::string_view subscriptionId, const Dictionary& payload)
    {
        ++delivered_;
        const auto subscription = newest_.find(subscriptionId);
        const auto updatedAt = doubleAt(payload, "updatedAt");
        require(subscription != newest_.end() && updatedAt && *updatedAt > subscription->second);
        subscription->second = *updatedAt;
    }

    const Style style_;
    std::uint64_t& delivered_;
    bool isOpen_ = true;
    std::map<std::string, double, std::less<>> newest_; ///< the time of the newest message, by subscription id
    std::int64_t subscribes_ = 0;                       ///< that have not been answered
    std::int64_t publishes_ = 0;                        ///< that have not been answered
};

/// One client, with one connection at a time. The sink of an earlier one may still hear of what was under way.
class Client {
public:
    explicit Client(Style style) noexcept : style_{style} {}

    void send(VexaService& service, std::string_view frame)
    {
        boost::system::error_code error;
        Dictionary message = readMessage(frame, error);
        if (error) {
            return;
        }
        if (connection_ == nullptr || !connection_->isOpen()) {
            connect(service);
        }
        connection_->requested(message);
        session_->receive(std::make_shared<const Dictionary>(std::move(message)));
    }

    void close()
    {
        session_.reset();
        connection_.reset();
    }

    /// Nothing is under way.
    void checkAnswers() const
    {
        require(connection_ == nullptr || !connection_->isOpen() || connection_->isAnswered());
    }

    [[nodiscard]] std::uint64_t delivered() const noexcept { return delivered_; }

private:
    void connect(VexaService& service)
    {
        connection_ = std::make_shared<Connection>(style_, delivered_);
        SessionSink sink;
        sink.send = [connection = connection_](const Dictionary& message) { connection->received(message); };
        sink.closed = [connection = connection_](const ServiceError& reason) { connection->closedByService(reason); };
        if (style_ == Style::texts) {
            sink.deliver = [connection = connection_](const DataBatch& batch) { connection->received(batch); };
        }
        session_.emplace(service.connect(std::move(sink)));
    }

    const Style style_;
    std::uint64_t delivered_ = 0;
    std::shared_ptr<Connection> connection_;
    std::optional<Session> session_;
};

class Conversation {
public:
    void step(std::string_view line)
    {
        const std::size_t space = line.find(' ');
        const std::string_view word = line.substr(0, space);
        const std::string_view rest = space == std::string_view::npos ? std::string_view{} : line.substr(space + 1);
        if (Client* sender = client(word)) {
            sender->send(service_, rest);
            return;
        }
        if (Client* each = client(rest); each != nullptr && word == "close") {
            each->close();
        } else if (word == "wait" && rest.size() == 1 && rest.front() >= '0' && rest.front() <= '9') {
            platform_.clock.advance(rest.front() - '0');
        }
        platform_.runUntilIdle();
    }

    void end()
    {
        platform_.runUntilIdle();
        std::uint64_t delivered = 0;
        for (const Client& each : clients_) {
            each.checkAnswers();
            delivered += each.delivered();
        }
        const ServiceFigures figures = service_.figures();
        require(figures.delivered == delivered && figures.replayed <= delivered);
        require(figures.sessions <= clients_.size());
        require(figures.subscriptions <= figures.sessions * limits.subscriptionsPerSession);
        require(service_.serverLogRecords().size() <= limits.keptServerLogRecords);
        require(service_.echoes().size() <= limits.keptEchoes);
        require(service_.topicFigures().size() <= limits.countedTopics);
        for (Client& each : clients_) {
            each.close();
        }
        platform_.runUntilIdle();
        require(service_.figures().sessions == 0 && service_.figures().subscriptions == 0);
        for (const TopicFigures& topic : service_.topicFigures()) {
            require(topic.subscribers == 0);
        }
    }

private:
    Client* client(std::string_view word)
    {
        const bool isNumber = word.size() == 1 && word.front() >= '1' && word.front() <= '3';
        return isNumber ? &clients_[static_cast<std::size_t>(word.front() - '1')] : nullptr;
    }

    testing::VirtualPlatform platform_{1};
    VexaService service_{MemoryBroker::make(brokerLimits, platform_), limits, platform_};
    std::array<Client, 3> clients_{Client{Style::dictionaries}, Client{Style::texts}, Client{Style::throwing}};
};

void run(std::string_view input)
{
    Conversation conversation;
    while (!input.empty()) {
        conversation.step(takeLine(input));
    }
    conversation.end();
}

} // namespace

} // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vexa::fuzz::run(vexa::fuzz::textOf(data, size));
    return 0;
}
