#pragma once

#include <string>
#include <string_view>

namespace vexa::host {

/// The SHA-256 digest (FIPS 180-4) of a text as 64 hexadecimal digits.
[[nodiscard]] std::string hexadecimalDigest(std::string_view text);

} // namespace vexa::host
