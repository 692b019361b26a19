#pragma once

#include <VexaClient/platform/Json.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Builders of the messages that a client and the service exchange, and readers of what a client sends.
namespace vexa::testing {

/// One topic of a subscribe request. The parameters are left out when absent, the time when it is 0 or less.
[[nodiscard]] Dictionary topic(std::string_view name, const Parameters& parameters = std::nullopt,
                               double updatedAt = 0.0);

/// The subscribe request of an operation.
[[nodiscard]] Dictionary subscribeRequest(std::string_view operationId, const std::vector<Dictionary>& topics);

/// The answer for one topic: subscribed, under the id that its messages will carry.
[[nodiscard]] Dictionary success(std::string_view subscriptionId);

/// The answer for one topic: subscribed, with the id left out.
[[nodiscard]] Dictionary successWithoutId();

/// The answer for one topic: refused. What is absent is left out.
[[nodiscard]] Dictionary failure(const std::optional<std::string>& error = std::nullopt,
                                 const std::optional<std::string>& errorMessage = std::nullopt);

/// The answer to a subscribe request: one entry for each of its topics, in its order.
[[nodiscard]] Dictionary subscriptionResponse(std::string_view operationId, const std::vector<Dictionary>& entries,
                                              std::string_view type = "subscriptionResponse");

/// One message of a subscription. "replayed" is left out when absent.
[[nodiscard]] Dictionary entry(std::string_view subscriptionId, Dictionary payload = {},
                               std::optional<bool> replayed = std::nullopt);

/// The message that ends a subscription: its payload with "isTerminating" true.
[[nodiscard]] Dictionary terminatingEntry(std::string_view subscriptionId, Dictionary payload = {});

/// A batch of messages. "sentAt", in seconds since 1970, is left out when absent.
[[nodiscard]] Dictionary dataMessage(const std::vector<Dictionary>& entries,
                                     std::optional<double> sentAt = std::nullopt);

/// Whether a message that a client sent is a subscribe request: by its category and type, with an operation id and a
/// list of topics in its payload.
[[nodiscard]] bool isSubscribeRequest(const Dictionary& message) noexcept;

/// The operation id of a subscribe request. Throws std::logic_error when `message` is none.
[[nodiscard]] std::string operationIdOf(const Dictionary& message);

/// The topics of a subscribe request. Throws std::logic_error when `message` is none.
[[nodiscard]] std::vector<Dictionary> topicsOf(const Dictionary& message);

/// The names of the topics of a subscribe request; an empty text for one that has no name. Throws std::logic_error when
/// `message` is none.
[[nodiscard]] std::vector<std::string> topicNamesOf(const Dictionary& message);

} // namespace vexa::testing
