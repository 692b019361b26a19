#pragma once

#include <VexaClient/platform/Json.hpp>

#include <optional>
#include <string_view>

namespace vexa {

/// The service's answer for one topic of a request. What it points to lives as long as the response.
struct TopicResponse {
    bool success;
    std::optional<std::string_view> subscriptionId;
    std::optional<std::string_view> error;
    std::optional<std::string_view> errorMessage;
};

/// Reads one entry of a response's "topics". What is absent or of another type counts as not given; a success that is
/// not a boolean is none.
[[nodiscard]] TopicResponse topicResponse(const Dictionary& entry) noexcept;

} // namespace vexa
