#pragma once

#include <host/broker/nats/NatsLink.hpp>
#include <VexaClient/platform/Json.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace vexa::host {

/// Why a request to JetStream has no result.
struct JetStreamError {
    enum class Kind {
        notSent,    ///< there is no connection, or nobody behind the subject: it has certainly had no effect
        unanswered, ///< no answer came: it may have had an effect, now or later
        refused     ///< JetStream answered with an error
    };

    Kind kind;
    std::int64_t code = 0; ///< JetStream's "err_code", when it refused
    std::string description;
    std::int64_t status = 0; ///< JetStream's "code", which follows those of HTTP, when it refused

    static constexpr std::int64_t streamNotFound = 10059;
    static constexpr std::int64_t noMessageFound = 10037;
};

/// A message of the stream. The texts live as long as the call that hands them over.
struct StoredMessage {
    std::uint64_t sequence = 0;
    std::string_view subject;
    std::string_view text;
    std::uint64_t behind = 0; ///< how many more messages its consumer knew of
};

/// What a consumer brings. Each lives until it is closed, or until it was lost.
class JetStreamConsumer {
public:
    virtual ~JetStreamConsumer() = default;

    /// The server has it; `behind` messages are waiting to be delivered.
    virtual void consumerOpened(std::uint64_t behind) = 0;

    virtual void delivered(const StoredMessage& message) = 0;

    /// It could not be opened, or something is missing from what it brings. It is closed.
    virtual void consumerLost(const std::string& reason) = 0;
};

/// The requests and consumers of JetStream's wire API over one connection. All of it happens on the broker's queue;
/// nothing blocks. Handlers are called later, never inside the call that takes them. A request that nobody took is
/// answered with its error at the next checkTimes(), so that whoever repeats it does not do so without a pause.
class JetStream {
public:
    /// Called with what JetStream answered, or with why it did not.
    using AnswerHandler = std::function<void(Dictionary answer, const std::optional<JetStreamError>& error)>;

    /// Called with the message, with none when there is none, or with why it is not known.
    using MessageHandler =
        std::function<void(const std::optional<StoredMessage>& message, const std::optional<JetStreamError>& error)>;

    JetStream(const NatsBrokerOptions& options, std::string inbox, Platform& platform);

    /// Takes the connection to use from now on, or none. Requests that are under way fail, consumers are lost.
    void useLink(NatsLink* link);

    /// A request to `$JS.API.` + `operation`.
    void call(const std::string& operation, std::string_view text, AnswerHandler handler);

    /// Stores a message; the answer has its "seq".
    void store(const std::string& subject, std::string_view text, const NatsHeaders& headers, AnswerHandler handler);

    /// The newest message of a subject.
    void readLast(const std::string& subject, MessageHandler handler);

    /// The oldest message of a subject whose sequence is `from` or more.
    void readNext(const std::string& subject, std::uint64_t from, MessageHandler handler);

    /// Opens a consumer for the messages of `subjects` whose sequence is `from` or more. Returns its number; it is
    /// never used again.
    [[nodiscard]] std::int64_t openConsumer(const std::string& subjects, std::uint64_t from,
                                            JetStreamConsumer& consumer);

    /// Closes a consumer, of which nothing is heard from now on. An unknown number is accepted.
    void closeConsumer(std::int64_t consumer);

    /// Takes a message that arrived at one of the link's inboxes.
    void arrived(std::int64_t inbox, natsMsg& message);

    /// Gives up what has waited too long. To be called several times a second.
    void checkTimes();

private:
    struct Request {
        AnswerHandler handler;
        double deadline;
        std::optional<JetStreamError> error; ///< what it will be answered with
    };

    struct Consumer {
        JetStreamConsumer* receiver;
        std::string name; ///< what the server calls it; empty until it answered
        std::uint64_t lastDelivery = 0;
        double lastHeard = 0;
    };

    void request(const std::string& subject, std::string_view text, const NatsHeaders& headers, AnswerHandler handler);
    void readStored(std::string_view condition, MessageHandler handler);
    void answered(std::int64_t number, natsMsg& message);
    void consumerAnswered(std::int64_t number, const Dictionary& answer, const std::optional<JetStreamError>& error);
    void deliveredTo(std::int64_t number, natsMsg& message);
    void heartbeatOf(std::int64_t number, natsMsg& message);
    void lose(std::int64_t number, const std::string& reason);
    void removeFromServer(const std::string& consumerName);
    void settle(std::int64_t number, Dictionary answer, const std::optional<JetStreamError>& error);

    const NatsBrokerOptions& options_;
    const std::string inbox_;
    Platform& platform_;
    NatsLink* link_ = nullptr;
    std::int64_t lastNumber_ = 0;
    std::map<std::int64_t, Request> requests_; ///< in the order of their deadlines
    std::vector<std::int64_t> unsent_;         ///< requests that wait for checkTimes() to be answered with their error
    std::unordered_map<std::int64_t, Consumer> consumers_;
};

} // namespace vexa::host
