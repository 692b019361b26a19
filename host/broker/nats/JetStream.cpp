#include <host/broker/nats/DeliveryInfo.hpp>
#include <host/broker/nats/JetStream.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/json/serialize.hpp>

#include <openssl/evp.h>

#include <array>
#include <charconv>
#include <utility>

namespace vexa::host {

namespace {

constexpr std::string_view apiPrefix = "$JS.API.";
constexpr std::string_view consumerPart = "consumer.";
constexpr double heartbeatsUntilLost = 3;

std::string_view textOf(const natsMsg& message)
{
    return {natsMsg_GetData(&message), static_cast<std::size_t>(natsMsg_GetDataLength(&message))};
}

std::string_view view(const char* text) noexcept
{
    return text == nullptr ? std::string_view{} : std::string_view{text};
}

std::string_view headerOf(natsMsg& message, const char* name)
{
    const char* value = nullptr;
    return natsMsgHeader_Get(&message, name, &value) == NATS_OK ? view(value) : std::string_view{};
}

template <class Number>
Number numberIn(std::string_view text, Number otherwise) noexcept
{
    Number number = otherwise;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

std::uint64_t countAt(const Dictionary& dictionary, std::string_view key) noexcept
{
    const Value* const value = dictionary.if_contains(boost::json::string_view{key.data(), key.size()});
    return value != nullptr && value->is_int64() ? static_cast<std::uint64_t>(value->get_int64()) : 0;
}

std::optional<JetStreamError> errorIn(const Dictionary& answer)
{
    const Dictionary* const error = dictionaryAt(answer, "error");
    if (error == nullptr) {
        return std::nullopt;
    }
    return JetStreamError{JetStreamError::Kind::refused, static_cast<std::int64_t>(countAt(*error, "err_code")),
                          std::string{stringAt(*error, "description").value_or("unknown error")},
                          static_cast<std::int64_t>(countAt(*error, "code"))};
}

/// RFC 4648, section 4; an empty text when `encoded` is none.
std::string decodedBase64(std::string_view encoded)
{
    std::string bytes(encoded.size() / 4 * 3, '\0');
    const int length =
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                        reinterpret_cast<const unsigned char*>(encoded.data()), static_cast<int>(encoded.size()));
    if (length < 0) {
        return {};
    }
    const std::size_t padding = encoded.size() - (encoded.find_last_not_of('=') + 1);
    bytes.resize(static_cast<std::size_t>(length) - padding);
    return bytes;
}

std::int64_t nanoseconds(double seconds) noexcept
{
    constexpr double nanosecondsPerSecond = 1e9;
    return static_cast<std::int64_t>(seconds * nanosecondsPerSecond);
}

} // namespace

JetStream::JetStream(const NatsBrokerOptions& options, std::string inbox, Platform& platform)
    : options_{options}, inbox_{std::move(inbox)}, platform_{platform}
{}

void JetStream::useLink(NatsLink* link)
{
    std::vector<std::int64_t> consumers;
    consumers.reserve(consumers_.size());
    for (const auto& [number, consumer] : consumers_) {
        consumers.push_back(number);
    }
    // On the former link, whose inboxes and consumers would otherwise come back with its connection.
    for (const std::int64_t number : consumers) {
        lose(number, "the connection to NATS was lost");
    }
    link_ = link;
    unsent_.clear();
    const std::map<std::int64_t, Request> requests = std::exchange(requests_, {});
    for (const auto& [number, request] : requests) {
        if (request.handler) {
            request.handler({}, JetStreamError{JetStreamError::Kind::unanswered, 0, "the connection to NATS was lost"});
        }
    }
}

void JetStream::call(const std::string& operation, std::string_view text, AnswerHandler handler)
{
    request(std::string{apiPrefix} + operation, text, {}, std::move(handler));
}

void JetStream::store(const std::string& subject, std::string_view text, const NatsHeaders& headers,
                      AnswerHandler handler)
{
    request(subject, text, headers, std::move(handler));
}

void JetStream::readLast(const std::string& subject, MessageHandler handler)
{
    readStored(joined({R"({"last_by_subj":")", subject, "\"}"}), std::move(handler));
}

void JetStream::readNext(const std::string& subject, std::uint64_t from, MessageHandler handler)
{
    readStored(joined({R"({"seq":)", std::to_string(from), R"(,"next_by_subj":")", subject, "\"}"}),
               std::move(handler));
}

void JetStream::readStored(std::string_view condition, MessageHandler handler)
{
    call("STREAM.MSG.GET." + options_.stream, condition,
         [handler = std::move(handler)](const Dictionary& answer, const std::optional<JetStreamError>& error) {
             if (error && error->code == JetStreamError::noMessageFound) {
                 handler(std::nullopt, std::nullopt);
                 return;
             }
             const Dictionary* const message = error ? nullptr : dictionaryAt(answer, "message");
             if (message == nullptr) {
                 handler(std::nullopt, error ? error
                                             : JetStreamError{JetStreamError::Kind::unanswered, 0,
                                                              "JetStream's answer has no message"});
                 return;
             }
             const std::string text = decodedBase64(stringAt(*message, "data").value_or(""));
             handler(StoredMessage{countAt(*message, "seq"), stringAt(*message, "subject").value_or(""), text, 0},
                     std::nullopt);
         });
}

std::int64_t JetStream::openConsumer(const std::string& subjects, std::uint64_t from, JetStreamConsumer& consumer)
{
    const std::int64_t number = ++lastNumber_;
    const std::string subject = joined({inbox_, consumerPart, std::to_string(number)});
    consumers_.emplace(number, Consumer{&consumer, {}, 0, platform_.monotonicNow()});
    if (link_ != nullptr) {
        // JetStream looks for someone who listens to exactly this subject; a wildcard that covers it does not count.
        link_->listen(number, subject);
    }
    const Dictionary configuration{
        {"deliver_subject", subject},
        {"deliver_policy", "by_start_sequence"},
        {"opt_start_seq", from},
        {"ack_policy", "none"},
        {"max_deliver", 1},
        {"filter_subject", subjects},
        {"flow_control", true},
        {"idle_heartbeat", nanoseconds(options_.heartbeatInterval)},
        {"inactive_threshold", nanoseconds(heartbeatsUntilLost * options_.heartbeatInterval)},
        {"num_replicas", 1},
        {"mem_storage", true},
    };
    const Dictionary order{{"stream_name", options_.stream}, {"config", configuration}};
    call("CONSUMER.CREATE." + options_.stream, messageText(order),
         [this, number](const Dictionary& answer, const std::optional<JetStreamError>& error) {
             consumerAnswered(number, answer, error);
         });
    return number;
}

void JetStream::consumerAnswered(std::int64_t number, const Dictionary& answer,
                                 const std::optional<JetStreamError>& error)
{
    if (error) {
        lose(number, error->description);
        return;
    }
    const std::string name{stringAt(answer, "name").value_or("")};
    const auto found = consumers_.find(number);
    if (found == consumers_.end()) {
        removeFromServer(name);
        return;
    }
    found->second.name = name;
    found->second.lastHeard = platform_.monotonicNow();
    found->second.receiver->consumerOpened(countAt(answer, "num_pending"));
}

void JetStream::closeConsumer(std::int64_t consumer)
{
    const auto found = consumers_.find(consumer);
    if (found == consumers_.end()) {
        return;
    }
    const std::string name = std::move(found->second.name);
    consumers_.erase(found);
    if (link_ != nullptr) {
        link_->ignore(consumer);
    }
    removeFromServer(name);
}

void JetStream::removeFromServer(const std::string& consumerName)
{
    if (!consumerName.empty() && link_ != nullptr) {
        call(joined({"CONSUMER.DELETE.", options_.stream, ".", consumerName}), "", {});
    }
}

void JetStream::lose(std::int64_t number, const std::string& reason)
{
    const auto found = consumers_.find(number);
    if (found == consumers_.end()) {
        return;
    }
    JetStreamConsumer& receiver = *found->second.receiver;
    closeConsumer(number);
    receiver.consumerLost(reason);
}

void JetStream::request(const std::string& subject, std::string_view text, const NatsHeaders& headers,
                        AnswerHandler handler)
{
    const std::int64_t number = ++lastNumber_;
    Request& request =
        requests_.emplace(number, Request{std::move(handler), platform_.monotonicNow() + options_.requestTimeLimit, {}})
            .first->second;
    std::optional<std::string> failure = "there is no connection to NATS";
    if (link_ != nullptr) {
        failure = link_->send(subject, joined({inbox_, NatsLink::answerPart, std::to_string(number)}), text, headers);
    }
    if (failure) {
        request.error = JetStreamError{JetStreamError::Kind::notSent, 0, std::move(*failure)};
        unsent_.push_back(number);
    }
}

void JetStream::arrived(std::int64_t inbox, natsMsg& message)
{
    if (inbox == NatsLink::answers) {
        const std::string_view subject = view(natsMsg_GetSubject(&message));
        answered(numberIn<std::int64_t>(subject.substr(subject.rfind('.') + 1), 0), message);
    } else if (view(natsMsg_GetReply(&message)).starts_with(DeliveryInfo::prefix)) {
        deliveredTo(inbox, message);
    } else {
        heartbeatOf(inbox, message);
    }
}

void JetStream::answered(std::int64_t number, natsMsg& message)
{
    const auto found = requests_.find(number);
    if (found == requests_.end()) {
        return;
    }
    if (natsMsg_IsNoResponders(&message)) {
        found->second.error = JetStreamError{JetStreamError::Kind::notSent, 0, "JetStream is not available"};
        unsent_.push_back(number);
        return;
    }
    boost::system::error_code error;
    Dictionary answer = readMessage(textOf(message), error);
    if (error) {
        settle(number, {}, JetStreamError{JetStreamError::Kind::unanswered, 0, "JetStream's answer cannot be read"});
        return;
    }
    const auto refusal = errorIn(answer);
    settle(number, std::move(answer), refusal);
}

void JetStream::settle(std::int64_t number, Dictionary answer, const std::optional<JetStreamError>& error)
{
    auto request = requests_.extract(number);
    if (!request.empty() && request.mapped().handler) {
        request.mapped().handler(std::move(answer), error);
    }
}

void JetStream::deliveredTo(std::int64_t number, natsMsg& message)
{
    const auto info = DeliveryInfo::read(view(natsMsg_GetReply(&message)));
    const auto found = consumers_.find(number);
    if (!info || found == consumers_.end()) {
        return;
    }
    Consumer& consumer = found->second;
    consumer.lastHeard = platform_.monotonicNow();
    if (info->consumerSequence != consumer.lastDelivery + 1) {
        lose(number, "a delivery is missing");
        return;
    }
    consumer.lastDelivery = info->consumerSequence;
    consumer.receiver->delivered(
        {info->streamSequence, view(natsMsg_GetSubject(&message)), textOf(message), info->behind});
}

void JetStream::heartbeatOf(std::int64_t number, natsMsg& message)
{
    const auto found = consumers_.find(number);
    if (found == consumers_.end()) {
        return;
    }
    found->second.lastHeard = platform_.monotonicNow();
    // The server goes on sending when these are answered: a request for it, and the note that such a one was missed.
    const std::string_view request = view(natsMsg_GetReply(&message));
    const std::string_view stalled = headerOf(message, "Nats-Consumer-Stalled");
    for (const std::string_view subject : {request, stalled}) {
        if (!subject.empty() && link_ != nullptr) {
            static_cast<void>(link_->send(std::string{subject}, {}, {}));
        }
    }
    const std::string_view last = headerOf(message, "Nats-Last-Consumer");
    if (!last.empty() && numberIn<std::uint64_t>(last, 0) != found->second.lastDelivery) {
        lose(number, "a delivery is missing");
    }
}

void JetStream::checkTimes()
{
    for (const std::int64_t number : std::exchange(unsent_, {})) {
        const auto found = requests_.find(number);
        if (found != requests_.end()) {
            settle(number, {}, std::exchange(found->second.error, std::nullopt));
        }
    }
    const double now = platform_.monotonicNow();
    while (!requests_.empty() && requests_.begin()->second.deadline <= now) {
        settle(requests_.begin()->first, {},
               JetStreamError{JetStreamError::Kind::unanswered, 0, "JetStream does not answer"});
    }
    std::vector<std::int64_t> silent;
    for (const auto& [number, consumer] : consumers_) {
        // Until it is opened, the request's own time limit counts.
        if (!consumer.name.empty() && now - consumer.lastHeard > heartbeatsUntilLost * options_.heartbeatInterval) {
            silent.push_back(number);
        }
    }
    for (const std::int64_t number : silent) {
        lose(number, "no heartbeat came");
    }
}

} // namespace vexa::host
