#pragma once

#include <VexaClient/platform/Json.hpp>

#include <optional>
#include <string_view>

namespace vexa {

/// What the client reads of one entry of a data message. What it points to lives as long as the message.
struct TopicMessage {
    std::optional<std::string_view> subscriptionId;
    std::optional<double> updatedAt; ///< seconds since 1970
    bool isTerminating;
    bool replayed;
};

/// Reads one entry of a data message's "messages". What is absent or of another type counts as not given.
[[nodiscard]] TopicMessage topicMessage(const Dictionary& entry) noexcept;

} // namespace vexa
