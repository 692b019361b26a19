#pragma once

#include <string>

namespace vexa::host {

/// The folder with the certificates and the npm packages of these tests, which the first call makes if need be. Throws
/// std::runtime_error, after the program that makes it has said why on standard error, when that fails.
[[nodiscard]] const std::string& preparedFolder();

/// The file of that name among the certificates and keys, such as "localhost.pem" and "localhost.key".
[[nodiscard]] std::string certificateFile(const std::string& name);

} // namespace vexa::host
