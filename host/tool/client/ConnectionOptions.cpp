#include <host/tool/client/BearerToken.hpp>
#include <host/tool/client/ConnectionOptions.hpp>

#include <CLI/CLI.hpp>

namespace vexa::host {

void addConnectionOptions(CLI::App& command, ConnectionOptions& options)
{
    const std::string group = "Connection";
    command.add_option("--url", options.url, "The service: ws://HOST[:PORT] or wss://HOST[:PORT]")
        ->envname("VEXA_URL")
        ->capture_default_str()
        ->group(group);
    command.add_option("--token-file", options.tokenFile, "A file with the bearer token to show")
        ->envname("VEXA_TOKEN_FILE")
        ->check(CLI::ExistingFile)
        ->type_name("FILE")
        ->group(group);
    command
        .add_option("--ca", options.authoritiesFile, "A PEM file with the authorities to trust instead of the system's")
        ->check(CLI::ExistingFile)
        ->type_name("FILE")
        ->group(group);
    auto* const certificate =
        command.add_option("--certificate", options.certificateFile, "A PEM file with a certificate to show")
            ->check(CLI::ExistingFile)
            ->type_name("FILE")
            ->group(group);
    auto* const key = command.add_option("--key", options.privateKeyFile, "The PEM file with its private key")
                          ->check(CLI::ExistingFile)
                          ->type_name("FILE")
                          ->group(group);
    certificate->needs(key);
    key->needs(certificate);
    command
        .add_flag("--insecure{false}", options.verifiesPeer,
                  "Take any certificate; anyone on the way can then pose as the service")
        ->group(group);
    command.add_flag("-v,--verbose", options.isVerbose, "Write the system log to standard error")->group(group);
}

OruWebSocketClientOptions transportOptions(const ConnectionOptions& options)
{
    OruWebSocketClientOptions client;
    client.url = options.url;
    client.bearerToken = readBearerToken(options.tokenFile);
    client.tls.verifiesPeer = options.verifiesPeer;
    client.tls.authoritiesFile = options.authoritiesFile;
    client.tls.certificateFile = options.certificateFile;
    client.tls.privateKeyFile = options.privateKeyFile;
    return client;
}

} // namespace vexa::host
