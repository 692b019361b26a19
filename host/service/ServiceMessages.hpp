#pragma once

#include <host/broker/Broker.hpp>
#include <host/broker/TopicKey.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

/// The messages between the service and a client, as pure functions: what comes in is read strictly, what goes out is
/// built here and nowhere else.
namespace vexa::host {

enum class MessageKind : std::uint8_t { subscribe, publish, serverLog, echo, unknown };

/// What a message is, by its "category" and "type".
[[nodiscard]] MessageKind kindOf(const Dictionary& message) noexcept;

/// One entry of a subscribe request.
struct TopicRequest {
    TopicKey topic;
    double updatedAt = 0; ///< seconds since 1970; 0 when the client named no time
};

/// {"category":"vexa","type":"subscribe","payload":{"operationId","topics":[{"name","parameters"?,"updatedAt"?}]}}
struct SubscribeRequest {
    std::string operationId;
    std::vector<std::variant<TopicRequest, ServiceError>> topics; ///< by position; an error for a malformed entry
    std::optional<ServiceError> error;                            ///< why there is no list of topics at all
};

/// Reads a subscribe request; nothing when it has no operation id that an answer could name.
[[nodiscard]] std::optional<SubscribeRequest> readSubscribeRequest(const Dictionary& message);

struct Publication {
    TopicKey topic;
    std::vector<Dictionary> payloads;
};

/// {"category":"vexa","type":"publish","payload":{"requestId","publisher"?,"topic":{"name","parameters"?},
/// "messages":[{…}]}}
struct PublishRequest {
    std::string requestId;
    std::string publisher; ///< who vouches that the request id names no other request; empty for nobody
    std::variant<Publication, ServiceError> publication;
};

/// Reads a publish request; nothing when it has no request id that an answer could name.
[[nodiscard]] std::optional<PublishRequest> readPublishRequest(const Dictionary& message);

/// A publish request; one that names no publisher when `publisher` is empty.
[[nodiscard]] Dictionary publishRequest(std::string_view requestId, std::string_view publisher, std::string_view name,
                                        const Parameters& parameters, std::vector<Dictionary> payloads);

/// {"category":"log","type":"serverLog","payload":{"category","severity","blob"}}
struct ServerLogRecord {
    std::string category;
    std::int64_t severity = 0;
    Dictionary blob;
    double receivedAt = 0; ///< seconds since 1970, by the service's clock
};

/// Reads a diagnostic record, without "receivedAt"; nothing when a part of it is missing or of another type.
[[nodiscard]] std::optional<ServerLogRecord> readServerLogRecord(const Dictionary& message);

/// The diagnostic record as a transport sends it.
[[nodiscard]] Dictionary serverLogMessage(std::string_view category, Dictionary blob, std::int64_t severity);

/// What became of one topic of a subscribe request: its subscription id, or why there is none.
using TopicAnswer = std::variant<std::string, ServiceError>;

[[nodiscard]] Dictionary subscriptionResponse(std::string_view operationId, const std::vector<TopicAnswer>& topics,
                                              const std::optional<ServiceError>& error = std::nullopt);

/// One entry of a data message.
[[nodiscard]] Dictionary dataEntry(std::string_view subscriptionId, const Delivery& delivery);

[[nodiscard]] Dictionary dataMessage(double sentAt, List entries);

[[nodiscard]] Dictionary publishResponse(std::string_view requestId, const PublishResult& result);

/// {"category":"vexa","type":"publishResponse","requestId","accepted"} or, with "error" and "errorMessage", what failed
struct PublishResponse {
    std::string requestId;
    PublishResult result;
};

/// Reads the answer to a publish request; nothing when it names no request.
[[nodiscard]] std::optional<PublishResponse> readPublishResponse(const Dictionary& message);

} // namespace vexa::host
