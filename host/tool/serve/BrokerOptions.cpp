#include <host/tool/serve/BrokerOptions.hpp>
#include <VexaClient/platform/Text.hpp>

#include <CLI/CLI.hpp>

#include <fstream>
#include <string>

namespace vexa::host {

namespace {

/// Puts the first line of a file in the place of its name.
CLI::Validator firstLineOfFile()
{
    return CLI::Validator{[](std::string& text) -> std::string {
                              std::ifstream file{text};
                              std::string line;
                              if (!std::getline(file, line) || line.empty()) {
                                  return joined({"the file ", text, " cannot be read or has no first line"});
                              }
                              text = line;
                              return {};
                          },
                          ""};
}

} // namespace

void addBrokerOptions(CLI::App& command, BrokerChoice& broker)
{
    command
        .add_option("--broker", broker.name,
                    "Where messages are kept and distributed: memory, in this process alone, or JetStream on servers "
                    "such as nats://HOST:PORT or tls://HOST:PORT, with commas between them, which services share")
        ->type_name("BROKER")
        ->check(CLI::Validator{[](std::string& name) { return complaintAboutBroker(name); }, ""})
        ->capture_default_str();
    command.add_option("--nats-stream", broker.stream, "The stream, which services that share topics have in common")
        ->type_name("NAME")
        ->capture_default_str();
    command
        .add_option("--nats-replicas", broker.replicas,
                    "On how many servers a message is kept; 0 for as many as are named, but no more than 3")
        ->check(CLI::Range(0, 5))
        ->capture_default_str();
    command
        .add_option("--nats-publish-limit", broker.publishTimeLimit,
                    "After how many seconds a publication that is not stored is answered with an error")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command.add_option("--nats-token-file", broker.token, "A file with the token that the servers ask for")
        ->type_name("FILE")
        ->transform(firstLineOfFile());
    command.add_option("--nats-credentials", broker.credentialsFile, "The JWT and key of a user of the servers")
        ->type_name("FILE");
    command.add_option("--nats-ca", broker.authoritiesFile, "The authorities of the servers' certificates (PEM)")
        ->type_name("FILE");
    auto* const certificate =
        command.add_option("--nats-certificate", broker.certificateFile, "The certificate for the servers (PEM)");
    auto* const key = command.add_option("--nats-key", broker.keyFile, "The private key of that certificate (PEM)");
    certificate->type_name("FILE")->needs(key);
    key->type_name("FILE")->needs(certificate);
}

} // namespace vexa::host
