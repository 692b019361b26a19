#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// How the library writes values, told anew.
namespace vexa::model {

/// The text with U+0000 to U+001F, U+007F and U+0080 to U+009F written as \n, \r, \t or \u00XX.
[[nodiscard]] std::string withoutControlCharacters(std::string_view text);

/// The shortest decimal notation that reads back to the same double, without an exponent and with at least one digit
/// behind the point. The number must be finite.
[[nodiscard]] std::string plainNumber(double number);

/// "O-" and the number with at least three digits.
[[nodiscard]] std::string operationName(std::int64_t number);

} // namespace vexa::model
