#pragma once

#include <host/websocket/OruWebSocketClientOptions.hpp>

#include <CLI/App.hpp>

#include <string>

namespace vexa::host {

/// How a command reaches the service, as the command line says.
struct ConnectionOptions {
    static constexpr const char* standardUrl = "ws://127.0.0.1:4780";

    std::string url = standardUrl;
    std::string tokenFile; ///< holds the bearer token; none when empty
    std::string authoritiesFile;
    std::string certificateFile;
    std::string privateKeyFile;
    bool verifiesPeer = true;
    bool isVerbose = false; ///< whether the system log and the transport's console log go to standard error
};

/// Adds the options of a command that connects to a service. `options` must live until the command has run.
void addConnectionOptions(CLI::App& command, ConnectionOptions& options);

/// The same for a transport client. Throws std::runtime_error when the file with the token cannot be used.
[[nodiscard]] OruWebSocketClientOptions transportOptions(const ConnectionOptions& options);

} // namespace vexa::host
