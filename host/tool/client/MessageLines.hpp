#pragma once

#include <VexaClient/VexaSubscriptionStream.hpp>

#include <string>
#include <string_view>

namespace vexa::host {

/// An element of a stream as one line of JSON: {"topic":…,"message":{…},"isTerminating":…}.
[[nodiscard]] std::string jsonLine(std::string_view topic, const VexaSubscriptionStream::Element& element);

/// The same for a person at a terminal: the time of day, the topic and what the payload holds. Control characters in it
/// are escaped.
[[nodiscard]] std::string plainLine(std::string_view topic, const VexaSubscriptionStream::Element& element);

/// The "text" of the payload alone; nothing when it has none.
[[nodiscard]] std::optional<std::string> textLine(const VexaSubscriptionStream::Element& element);

} // namespace vexa::host
