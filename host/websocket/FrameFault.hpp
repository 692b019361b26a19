#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vexa::host {

/// Why an incoming frame is no transport message.
enum class FrameFault : std::uint8_t {
    notJson,          ///< its text is no JSON text (RFC 8259)
    notADictionary,   ///< its text is another JSON value
    tooDeep,          ///< lists and dictionaries within each other beyond the limit
    tooLarge,         ///< more bytes than the limit; with sixteen times as many, closes the connection with 1009
    binary,           ///< no text frame
    notUtf8,          ///< closes the connection with 1007 (RFC 6455, section 8.1)
    protocolViolation ///< breaks the rules of RFC 6455 in another way; closes the connection with 1002
};

inline constexpr std::size_t frameFaultCount = 7;

/// The fault in words that follow "that".
[[nodiscard]] constexpr std::string_view description(FrameFault fault) noexcept
{
    switch (fault) {
    case FrameFault::notJson:
        return "is no JSON text";
    case FrameFault::notADictionary:
        return "holds no JSON object";
    case FrameFault::tooDeep:
        return "is nested too deeply";
    case FrameFault::tooLarge:
        return "is too large";
    case FrameFault::binary:
        return "is binary";
    case FrameFault::notUtf8:
        return "is not UTF-8";
    case FrameFault::protocolViolation:
        return "violates the WebSocket protocol";
    }
    return "is unusable";
}

} // namespace vexa::host
