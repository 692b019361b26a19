#pragma once

#include <VexaClient/platform/Json.hpp>
#include <VexaClient/subscription_client/TopicSubscription.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace vexa {

/// The subscribe request of one operation, as the transport sends it, with its topics in list order.
[[nodiscard]] Dictionary subscribeRequest(std::string_view operationId, const std::vector<TopicSubscription>& topics);

/// The request as a log line shows it: JSON, cut off with an ellipsis when it is long.
[[nodiscard]] std::string requestRendering(const Dictionary& request);

} // namespace vexa
