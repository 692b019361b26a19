#pragma once

#include <string>

namespace vexa::host {

/// The bearer token that a file holds, without the white space around it; an empty text for an empty path. Throws
/// std::runtime_error, with a sentence that says what is wrong, when the file cannot be read or holds nothing.
[[nodiscard]] std::string readBearerToken(const std::string& path);

} // namespace vexa::host
