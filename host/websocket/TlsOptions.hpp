#pragma once

#include <string>

namespace vexa::host {

/// How a client uses TLS, of which it takes version 1.2 (RFC 5246) and up.
struct TlsOptions {
    /// Whether the service must show a certificate that a trusted authority has issued for the host of the URL
    /// (RFC 9525). Without it anyone on the way can pose as the service.
    bool verifiesPeer = true;
    /// A PEM file with the certificates of the authorities to trust; the system's when empty.
    std::string authoritiesFile;
    /// A PEM file with the client's own certificate, followed by those that lead to its authority; none when empty.
    std::string certificateFile;
    /// The PEM file with the private key of that certificate.
    std::string privateKeyFile;
};

} // namespace vexa::host
