#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

/// How values are written as text, in log lines and in messages.
namespace vexa {

/// All parts, one after the other.
[[nodiscard]] std::string joined(std::initializer_list<std::string_view> parts);

/// `number` in the shortest plain decimal notation that reads back to the same double, never with an exponent
/// and always with at least one digit after the point: 1700000000.0, 0.25. Infinities and not-a-number, which
/// have no decimal notation, read inf, -inf and nan.
[[nodiscard]] std::string plainDecimal(double number);

/// `number` in decimal.
[[nodiscard]] std::string decimal(std::int64_t number);

/// `text` as an optional value that is present is displayed: Optional(text).
[[nodiscard]] std::string optionalDisplay(std::string_view text);

/// Whether `text` is well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF.
[[nodiscard]] bool isUtf8(std::string_view text) noexcept;

/// `text` with every control character (U+0000 to U+001F, U+007F, and U+0080 to U+009F in their UTF-8 form)
/// replaced by its escape, \n, \r, \t or \u00XX, so that text from outside can neither forge a line of a log nor
/// drive a terminal. Bytes that are not UTF-8 stay as they are.
[[nodiscard]] std::string escapeControlCharacters(std::string_view text);

/// Appends to `out` what escapeControlCharacters() makes of `text`.
void appendWithEscapes(std::string& out, std::string_view text);

} // namespace vexa
