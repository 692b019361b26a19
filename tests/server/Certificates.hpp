#pragma once

#include <string>

namespace vexa::host {

/// Certificates for tests, in files that are removed with the object: an authority, and what it has issued to a server
/// on 127.0.0.1 and localhost and to a client.
class Certificates {
public:
    Certificates();
    ~Certificates();
    Certificates(const Certificates&) = delete;
    Certificates& operator=(const Certificates&) = delete;

    /// The file of that name: "authority.pem", "server.pem", "server.key", "client.pem" or "client.key".
    [[nodiscard]] std::string file(const std::string& name) const { return folder_ + "/" + name; }

private:
    std::string folder_;
};

} // namespace vexa::host
