#pragma once

#include <host/server/VexaServerOptions.hpp>

#include <boost/asio/ssl/context.hpp>

namespace vexa::host {

/// The TLS settings of a server as OpenSSL takes them. Throws std::invalid_argument, with a sentence that says what is
/// wrong, when a file is missing or cannot be used, or the key is not that of the certificate.
[[nodiscard]] boost::asio::ssl::context makeServerTls(const ServerTlsFiles& files);

} // namespace vexa::host
