#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The messages that every system carries: JSON texts of two hundred bytes, each with a time that rises.
namespace vexa::bench {

inline constexpr std::size_t messageBytes = 200;

/// The characters of a time in a message: seconds since 1970 with microseconds.
inline constexpr std::size_t timeCharacters = 17;

/// The name of a topic; all are of one length.
[[nodiscard]] std::string topicName(std::size_t topic);

/// The subscription id that stands for it; all are of one length.
[[nodiscard]] std::string subscriptionId(std::size_t topic);

/// A text, and where in it the times of its messages stand.
struct MessageText {
    std::string text;
    std::size_t timeAt = 0;
};

/// A message of a topic: the entry of a data message, which is the whole message where topics have names on the wire.
[[nodiscard]] MessageText messageOf(std::size_t topic);

/// Writes the time of the message with this number into a text.
void writeTime(char* at, std::uint64_t number) noexcept;

} // namespace vexa::bench
