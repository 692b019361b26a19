#pragma once

#include <string>

namespace vexa::host {

/// The file of that name among the certificates and keys of these tests, such as "localhost.pem" and "localhost.key".
/// The first call makes them if need be; when that fails it throws std::runtime_error, after the program that makes
/// them has said why on standard error.
[[nodiscard]] std::string certificateFile(const std::string& name);

} // namespace vexa::host
