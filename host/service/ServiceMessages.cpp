#include <host/service/ServiceMessages.hpp>
#include <VexaClient/platform/JsonReaders.hpp>

#include <utility>

namespace vexa::host {

namespace {

boost::json::string_view text(std::string_view view) noexcept
{
    return {view.data(), view.size()};
}

ServiceError malformed(std::string sentence)
{
    return {"MalformedRequest", std::move(sentence)};
}

void addError(Dictionary& message, const ServiceError& error)
{
    message["error"] = text(error.error);
    message["errorMessage"] = text(error.errorMessage);
}

/// The topic that a dictionary names, or why it names none.
std::variant<TopicKey, ServiceError> readTopic(const Dictionary& topic)
{
    const auto name = stringAt(topic, "name");
    if (!name) {
        return malformed("A topic needs a 'name', which is a text");
    }
    const Value* parameters = topic.if_contains("parameters");
    return parameters != nullptr ? TopicKey{*name, *parameters} : TopicKey{*name};
}

std::variant<TopicRequest, ServiceError> readTopicRequest(const Value& entry)
{
    const Dictionary* dictionary = entry.if_object();
    if (dictionary == nullptr) {
        return malformed("A topic is a dictionary");
    }
    auto topic = readTopic(*dictionary);
    if (const auto* error = std::get_if<ServiceError>(&topic)) {
        return *error;
    }
    const auto updatedAt = doubleAt(*dictionary, "updatedAt");
    if (!updatedAt && dictionary->contains("updatedAt")) {
        return malformed("'updatedAt' is a number of seconds since 1970");
    }
    return TopicRequest{std::get<TopicKey>(std::move(topic)), updatedAt > 0 ? *updatedAt : 0};
}

std::variant<Publication, ServiceError> readPublication(const Dictionary& payload)
{
    const Dictionary* topicDictionary = dictionaryAt(payload, "topic");
    if (topicDictionary == nullptr) {
        return malformed("'topic' is missing or is no dictionary");
    }
    auto topic = readTopic(*topicDictionary);
    if (const auto* error = std::get_if<ServiceError>(&topic)) {
        return *error;
    }
    const List* messages = dictionariesAt(payload, "messages");
    if (messages == nullptr) {
        return malformed("'messages' is missing or is no list of dictionaries");
    }
    Publication publication{std::get<TopicKey>(std::move(topic)), {}};
    publication.payloads.reserve(messages->size());
    for (const Value& message : *messages) {
        publication.payloads.push_back(message.get_object());
    }
    return publication;
}

Dictionary vexaMessage(std::string_view type)
{
    return {{"category", "vexa"}, {"type", text(type)}};
}

} // namespace

MessageKind kindOf(const Dictionary& message) noexcept
{
    const auto category = stringAt(message, "category");
    const auto type = stringAt(message, "type");
    if (category == "vexa" && type == "subscribe") {
        return MessageKind::subscribe;
    }
    if (category == "vexa" && type == "publish") {
        return MessageKind::publish;
    }
    if (category == "log" && type == "serverLog") {
        return MessageKind::serverLog;
    }
    return category == "zltMsg" && type == "sdk-echo" ? MessageKind::echo : MessageKind::unknown;
}

std::optional<SubscribeRequest> readSubscribeRequest(const Dictionary& message)
{
    const Dictionary* payload = dictionaryAt(message, "payload");
    const auto operationId = payload != nullptr ? stringAt(*payload, "operationId") : std::nullopt;
    if (!operationId) {
        return std::nullopt;
    }
    SubscribeRequest request{std::string{*operationId}, {}, std::nullopt};
    const Value* topics = payload->if_contains("topics");
    if (topics == nullptr || !topics->is_array()) {
        request.error = malformed("'topics' is missing or is no list");
        return request;
    }
    for (const Value& entry : topics->get_array()) {
        request.topics.push_back(readTopicRequest(entry));
    }
    return request;
}

std::optional<PublishRequest> readPublishRequest(const Dictionary& message)
{
    const Dictionary* payload = dictionaryAt(message, "payload");
    const auto requestId = payload != nullptr ? stringAt(*payload, "requestId") : std::nullopt;
    if (!requestId) {
        return std::nullopt;
    }
    return PublishRequest{std::string{*requestId}, std::string{stringAt(*payload, "publisher").value_or("")},
                          readPublication(*payload)};
}

Dictionary publishRequest(std::string_view requestId, std::string_view publisher, std::string_view name,
                          const Parameters& parameters, std::vector<Dictionary> payloads)
{
    Dictionary topic{{"name", text(name)}};
    if (parameters) {
        topic["parameters"] = *parameters;
    }
    List messages;
    messages.reserve(payloads.size());
    for (Dictionary& payload : payloads) {
        messages.push_back(std::move(payload));
    }
    Dictionary payload{{"requestId", text(requestId)}};
    if (!publisher.empty()) {
        payload["publisher"] = text(publisher);
    }
    payload["topic"] = std::move(topic);
    payload["messages"] = std::move(messages);
    Dictionary message = vexaMessage("publish");
    message["payload"] = std::move(payload);
    return message;
}

std::optional<ServerLogRecord> readServerLogRecord(const Dictionary& message)
{
    const Dictionary* payload = dictionaryAt(message, "payload");
    if (payload == nullptr) {
        return std::nullopt;
    }
    const auto category = stringAt(*payload, "category");
    const Value* severity = payload->if_contains("severity");
    const Dictionary* blob = dictionaryAt(*payload, "blob");
    if (!category || severity == nullptr || !severity->is_int64() || blob == nullptr) {
        return std::nullopt;
    }
    return ServerLogRecord{std::string{*category}, severity->get_int64(), *blob, 0};
}

Dictionary serverLogMessage(std::string_view category, Dictionary blob, std::int64_t severity)
{
    Dictionary payload{{"category", text(category)}, {"severity", severity}};
    payload["blob"] = std::move(blob);
    Dictionary message{{"category", "log"}, {"type", "serverLog"}};
    message["payload"] = std::move(payload);
    return message;
}

Dictionary subscriptionResponse(std::string_view operationId, const std::vector<TopicAnswer>& topics,
                                const std::optional<ServiceError>& error)
{
    List answers;
    answers.reserve(topics.size());
    for (const TopicAnswer& topic : topics) {
        Dictionary answer;
        const auto* subscriptionId = std::get_if<std::string>(&topic);
        answer["success"] = subscriptionId != nullptr;
        if (subscriptionId != nullptr) {
            answer["subscriptionId"] = text(*subscriptionId);
        } else {
            addError(answer, std::get<ServiceError>(topic));
        }
        answers.push_back(std::move(answer));
    }
    Dictionary message = vexaMessage("subscriptionResponse");
    message["operationId"] = text(operationId);
    message["topics"] = std::move(answers);
    if (error) {
        addError(message, *error);
    }
    return message;
}

Dictionary dataEntry(std::string_view subscriptionId, const Delivery& delivery)
{
    Dictionary entry{{"subscriptionId", text(subscriptionId)}};
    entry["payload"] = *delivery.payload;
    if (delivery.isReplayed) {
        entry["replayed"] = true;
    }
    return entry;
}

Dictionary dataMessage(double sentAt, List entries)
{
    Dictionary message = vexaMessage("data");
    message["sentAt"] = sentAt;
    message["messages"] = std::move(entries);
    return message;
}

Dictionary publishResponse(std::string_view requestId, const PublishResult& result)
{
    Dictionary message = vexaMessage("publishResponse");
    message["requestId"] = text(requestId);
    if (result.error) {
        addError(message, *result.error);
    } else {
        message["accepted"] = result.accepted;
    }
    return message;
}

std::optional<PublishResponse> readPublishResponse(const Dictionary& message)
{
    const auto requestId = stringAt(message, "requestId");
    if (!requestId) {
        return std::nullopt;
    }
    PublishResponse response{std::string{*requestId}, {}};
    const Value* accepted = message.if_contains("accepted");
    boost::system::error_code error;
    if (accepted != nullptr && accepted->is_number()) {
        response.result.accepted = accepted->to_number<std::size_t>(error);
    }
    if (const auto word = stringAt(message, "error")) {
        response.result.error =
            ServiceError{std::string{*word}, std::string{stringAt(message, "errorMessage").value_or("")}};
    } else if (accepted == nullptr || !accepted->is_number() || error) {
        response.result.error =
            ServiceError{"MalformedResponse", "The answer of the service does not say how many messages it took"};
    }
    return response;
}

} // namespace vexa::host
