#pragma once

#include <VexaClient/platform/Json.hpp>

#include <string>
#include <string_view>

namespace vexa {

/// The subscription hash of a topic: 24 characters, the standard base64 form (RFC 4648) of an MD5 digest (RFC 1321),
/// which identify the pair of name and parameters within this process.
///
/// The digest is fed the dictionary {name: parameters}, where absent parameters count as the empty text. A list is fed
/// element by element and a dictionary key by key, in ascending order, each key's own characters and then its value;
/// and after its entries each container is fed once more, whole, in its display form. A value that is no container is
/// fed in its display form alone, which for text is its own characters. The display form is compact, with dictionary
/// entries in ascending key order; inside containers text is quoted there, so that 1 and "1" differ.
///
/// Entry order never matters, and numbers that are numerically equal are alike: 4, 4u and 4.0. Any thread.
[[nodiscard]] std::string subscriptionHash(std::string_view name, const Parameters& params);

} // namespace vexa
