#include <host/server/VexaServer.hpp>
#include <host/service/VexaService.hpp>
#include <host/tool/Command.hpp>
#include <host/tool/serve/BrokerOptions.hpp>
#include <host/tool/serve/FileDescriptors.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/signal_set.hpp>

#include <CLI/CLI.hpp>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int exitCodeOfSignals = 128;

struct ServeOptions {
    VexaServerOptions server;
    ServiceLimits service;
    BrokerChoice broker;
    std::string listen = "127.0.0.1:4780";
    double historyAge = 0;
    bool isVerbose = false;
};

/// Writes whole lines to standard error, whichever threads they come from.
class ErrorLines {
public:
    void write(std::string_view beginning, std::string_view text)
    {
        const std::string line = joined({beginning, escapeControlCharacters(text), "\n"});
        const std::lock_guard lock{mutex_};
        std::fwrite(line.data(), 1, line.size(), stderr);
    }

private:
    std::mutex mutex_;
};

/// Does what signals ask a running server for.
class ServerSignals {
public:
    ServerSignals(boost::asio::io_context& context, VexaServer& server, ErrorLines& errors)
        : endings_{context, SIGINT, SIGTERM}, reloads_{context, SIGHUP}, server_{server}, errors_{errors}
    {
        waitForEnding(context);
        waitForReload();
    }

private:
    void waitForEnding(boost::asio::io_context& context)
    {
        endings_.async_wait([&context](const boost::system::error_code& error, int /*signal*/) {
            if (!error) {
                context.stop();
            }
        });
    }

    void waitForReload()
    {
        reloads_.async_wait([this](const boost::system::error_code& error, int /*signal*/) {
            if (error) {
                return;
            }
            try {
                server_.reloadTokens();
                errors_.write("vexa: ", "the tokens have been read again");
            } catch (const std::invalid_argument& failure) {
                errors_.write("vexa: ", joined({failure.what(), "; the tokens stay as they were"}));
            }
            waitForReload();
        });
    }

    boost::asio::signal_set endings_;
    boost::asio::signal_set reloads_;
    VexaServer& server_;
    ErrorLines& errors_;
};

/// Whoever does not want to wait for the connections to end sends a second signal.
void leaveAtNextSignal()
{
    const auto leave = [](int signal) { ::_exit(exitCodeOfSignals + signal); };
    std::signal(SIGINT, leave);
    std::signal(SIGTERM, leave);
}

/// The server, or an error that says what to do.
std::unique_ptr<VexaServer> startServer(const std::shared_ptr<VexaService>& service, const VexaServerOptions& options)
{
    try {
        return std::make_unique<VexaServer>(service, options);
    } catch (const std::runtime_error& error) {
        throw std::runtime_error{
            joined({error.what(), ". Choose another address with --listen HOST:PORT; port 0 takes any that is free"})};
    }
}

int runServe(ServeOptions options)
{
    ErrorLines errors;
    SystemPlatform::shared().setLogSink([isVerbose = options.isVerbose, &errors](std::string_view line) {
        if (isVerbose) {
            errors.write("", line);
        }
    });
    // A reader of the output that has gone away is no reason to stop serving.
    std::signal(SIGPIPE, SIG_IGN);
    const std::uint64_t descriptors = raiseFileDescriptorLimit();

    if (options.historyAge > 0) {
        options.broker.maximumAge = options.historyAge;
    }
    options.server.listen = ListenAddress::read(options.listen);
    options.server.notice = [&errors](std::string_view sentence) { errors.write("vexa: ", sentence); };
    auto service = std::make_shared<VexaService>(makeBroker(options.broker), options.service);
    auto server = startServer(service, options.server);

    boost::asio::io_context context;
    {
        // Whoever reads the address may send a signal at once.
        const ServerSignals signals{context, *server, errors};
        std::printf("listening on %s\n", server->url().c_str());
        std::fflush(stdout);
        if (options.isVerbose) {
            errors.write("vexa: ",
                         joined({"up to ", decimal(static_cast<std::int64_t>(descriptors)), " file descriptors"}));
        }
        context.run();
    }
    leaveAtNextSignal();
    server->stop();
    server.reset();
    service.reset();
    releaseBrokers();
    SystemPlatform::shared().setLogSink([](std::string_view) {});
    return 0;
}

/// Checks an option by a function that throws std::invalid_argument or returns a complaint.
template <class Check>
CLI::Validator checked(Check check, const std::string& form)
{
    return CLI::Validator{[check](std::string& text) -> std::string {
                              try {
                                  return check(text);
                              } catch (const std::invalid_argument& error) {
                                  return error.what();
                              }
                          },
                          form};
}

void addLimits(CLI::App& command, ServeOptions& options)
{
    const CLI::AsSizeValue bytes{false};
    const auto positive = CLI::Range(std::size_t{1}, std::numeric_limits<std::size_t>::max());
    command
        .add_option("--max-message-bytes", options.server.limits.messageBytes,
                    "The largest message that a client may send, which has to hold the request for all its topics; "
                    "64KiB and the like are understood")
        ->transform(bytes)
        ->check(positive)
        ->capture_default_str();
    command.add_option("--max-topics", options.service.subscriptionsPerSession, "The most topics of one connection")
        ->check(positive)
        ->capture_default_str();
    command
        .add_option("--max-topic-bytes", options.service.topicBytes,
                    "How long the name and the parameters of a topic may be together")
        ->transform(bytes)
        ->check(positive)
        ->capture_default_str();
    command
        .add_option("--max-queue-bytes", options.server.limits.queueBytes,
                    "How much may wait for one client before it is closed as too slow")
        ->transform(bytes)
        ->check(positive)
        ->capture_default_str();
    command
        .add_option("--history-count", options.broker.messagesPerTopic,
                    "How many messages of each topic are kept for later subscribers")
        ->capture_default_str();
    const std::map<std::string, double> units{{"s", 1}, {"m", 60}, {"h", 3600}, {"d", 86400}};
    command
        .add_option("--history-age", options.historyAge,
                    "For how long they are kept: seconds, or 5m, 2h, 1d; 0 for "
                    "as long as the count allows")
        ->transform(CLI::AsNumberWithUnit(units))
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
}

} // namespace

void addServeCommand(CLI::App& application, ChosenCommand& chosen)
{
    CLI::App* const command =
        application.add_subcommand("serve", "Run the service: a WebSocket for clients and, on the same port, /healthz, "
                                            "/metrics, /records and /topics over HTTP.");
    const auto options = std::make_shared<ServeOptions>();
    command->add_option("--listen", options->listen, "Where to listen; port 0 takes any that is free")
        ->envname("VEXA_LISTEN")
        ->type_name("HOST:PORT")
        ->check(checked(
            [](const std::string& text) {
                static_cast<void>(ListenAddress::read(text));
                return std::string{};
            },
            ""))
        ->capture_default_str();
    addBrokerOptions(*command, options->broker);
    command
        ->add_option("--token-file", options->server.tokenFile,
                     "Let in only clients with one of these bearer tokens, one a line; read again at SIGHUP")
        ->type_name("FILE");
    auto* const certificate = command->add_option("--tls-certificate", options->server.tls.certificateChain,
                                                  "Speak TLS, with this certificate and those behind it (PEM)");
    auto* const key =
        command->add_option("--tls-key", options->server.tls.privateKey, "The private key of the certificate (PEM)");
    auto* const authorities = command->add_option("--client-ca", options->server.tls.clientAuthorities,
                                                  "Let in only clients with a certificate of these authorities (PEM)");
    certificate->type_name("FILE")->needs(key);
    key->type_name("FILE")->needs(certificate);
    authorities->type_name("FILE")->needs(certificate);
    addLimits(*command, *options);
    command
        ->add_option("--threads", options->server.threads,
                     "How many threads carry connections; 0 for one for each "
                     "processor")
        ->check(CLI::Range(std::size_t{0}, std::size_t{1024}))
        ->capture_default_str();
    command->add_flag("--verbose", options->isVerbose, "Write the system log to standard error");
    command->footer(
        "The first line of the output is the address, as in: listening on ws://127.0.0.1:4780\n"
        "SIGINT and SIGTERM end the service once its clients have been told; a second one ends it at once.");
    command->callback([options, &chosen] { chosen = [options] { return runServe(*options); }; });
}

} // namespace vexa::host
