#include <host/broker/MemoryBroker.hpp>
#include <host/embedded/EmbeddedTransport.hpp>
#include <host/service/VexaService.hpp>
#include <host/tool/client/ConnectionOptions.hpp>
#include <host/tool/Command.hpp>
#include <host/tool/demo/Demonstration.hpp>
#include <host/tool/demo/EmbeddedStage.hpp>
#include <host/tool/demo/EveryStyleFollowerMaker.hpp>
#include <host/tool/demo/RemoteStage.hpp>
#include <host/tool/demo/ServiceProcess.hpp>
#include <host/tool/display/DemoScreen.hpp>
#include <host/tool/display/LineDisplay.hpp>
#include <host/tool/display/TableDisplay.hpp>
#include <host/tool/display/Terminal.hpp>
#include <host/tool/machine/MachineFigures.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>

#include <signal.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int exitCodeOfSignals = 128;

struct DemoOptions {
    double seconds = 20;
    bool asJson = false;
    std::string logFile;
    ConnectionOptions connection;
    bool isRemote = false;      ///< whether the service is the one at the URL of the connection
    bool usesProcesses = false; ///< whether the service runs in a process of its own
};

std::unique_ptr<Display> makeDisplay(const DemoOptions& options)
{
    const TerminalTraits traits = terminalTraits();
    if (options.asJson) {
        return std::make_unique<JsonDisplay>(stdout);
    }
    if (traits.isTerminal) {
        return std::make_unique<TableDisplay>(traits);
    }
    return std::make_unique<LineDisplay>(stdout);
}

/// Writes the library's log and the transport's console to a file, or drops them when none is named.
LogSink openLog(const std::string& path)
{
    if (path.empty()) {
        return [](std::string_view) {};
    }
    struct Log {
        std::mutex mutex;
        std::unique_ptr<std::FILE, int (*)(std::FILE*)> file{nullptr, &std::fclose};
    };
    const auto log = std::make_shared<Log>();
    log->file.reset(std::fopen(path.c_str(), "w"));
    if (log->file == nullptr) {
        throw std::runtime_error{"cannot write to " + path};
    }
    return [log](std::string_view line) {
        const std::lock_guard lock{log->mutex};
        std::fwrite(line.data(), 1, line.size(), log->file.get());
        std::fputc('\n', log->file.get());
        std::fflush(log->file.get());
    };
}

/// How many messages of a topic a service keeps, so that everything can be replayed however long the run.
std::size_t keptMessages(const DemoPlan& plan)
{
    const auto published = static_cast<std::size_t>(std::ceil(plan.duration / plan.interval));
    return std::max(MemoryBrokerLimits{}.messagesPerTopic, 2 * published);
}

/// A stage, its transport, and the process that it needs, if any.
struct Setting {
    std::unique_ptr<ServiceProcess> process;
    std::shared_ptr<DemoStage> stage;
    std::shared_ptr<OruClient> transport;
};

Setting embeddedSetting(const DemoPlan& plan, const LogSink& log)
{
    MemoryBrokerLimits limits;
    limits.messagesPerTopic = keptMessages(plan);
    auto service = std::make_shared<VexaService>(MemoryBroker::make(limits));
    EmbeddedTransportOptions options;
    options.throughText = true;
    options.console = log;
    auto transport = EmbeddedTransport::make(service, std::move(options));
    return {nullptr, std::make_shared<EmbeddedStage>(std::move(service), transport), transport};
}

Setting remoteSetting(const DemoOptions& options, const DemoPlan& plan, const LogSink& log)
{
    constexpr double patience = 10;
    Setting setting;
    OruWebSocketClientOptions client = transportOptions(options.connection);
    client.console = log;
    if (options.usesProcesses) {
        setting.process = std::make_unique<ServiceProcess>(keptMessages(plan));
        client.url = setting.process->url();
    }
    auto stage = std::make_shared<RemoteStage>(client, SystemPlatform::shared());
    stage->awaitConnections(patience);
    setting.transport = stage->transport();
    setting.stage = std::move(stage);
    return setting;
}

/// Interrupts the demonstration at the first signal, and leaves at once at the second one.
class SignalWatch {
public:
    SignalWatch(boost::asio::io_context& context, Demonstration& demonstration)
        : signals_{context, SIGINT, SIGTERM, SIGHUP}, demonstration_{demonstration}
    {
        waitForSignal();
    }

    [[nodiscard]] std::optional<int> received() const noexcept { return received_; }

private:
    void waitForSignal()
    {
        signals_.async_wait([this](const boost::system::error_code& error, int signal) {
            if (error) {
                return;
            }
            if (received_) {
                if (terminalTraits().isTerminal) {
                    writeToTerminal(TableDisplay::showCursor);
                }
                ::_exit(exitCodeOfSignals + signal);
            }
            received_ = signal;
            demonstration_.interrupt();
            waitForSignal();
        });
    }

    boost::asio::signal_set signals_;
    Demonstration& demonstration_;
    std::optional<int> received_;
};

int runDemo(const DemoOptions& options)
{
    const DemoPlan plan = planFor(options.seconds);
    const LogSink log = openLog(options.logFile);
    SystemPlatform& platform = SystemPlatform::shared();
    platform.setLogSink(log);

    const bool isEmbedded = !options.isRemote && !options.usesProcesses;
    const Setting setting = isEmbedded ? embeddedSetting(plan, log) : remoteSetting(options, plan, log);
    Dependencies::shared().oruClient(setting.transport);

    MachineFigures figures;
    EveryStyleFollowerMaker followers;
    boost::asio::io_context context;
    DemoScreen screen{platform, makeDisplay(options),
                      [&context] { boost::asio::post(context, [&context] { context.stop(); }); }};
    const auto demonstration =
        Demonstration::make({platform, *setting.stage, VexaOruSubscriptionManager::sharedSubscriptionManager(), figures,
                             followers, [] { VexaDataSender::shared().sendToEcho(); }, screen},
                            plan);
    const SignalWatch watch{context, *demonstration};
    screen.follow(*demonstration);
    demonstration->start();
    context.run();

    screen.showSummary(*demonstration, screen.summary());
    if (watch.received()) {
        return exitCodeOfSignals + *watch.received();
    }
    return screen.summary().complaints().empty() ? 0 : 1;
}

} // namespace

void addDemoCommand(CLI::App& application, ChosenCommand& chosen)
{
    constexpr double shortest = 2;
    constexpr double longest = 24.0 * 3600;
    CLI::App* const command = application.add_subcommand(
        "demo", "Publish this machine's own figures, follow them through the library, cut the connection on the way, "
                "and account for every message.");
    const auto options = std::make_shared<DemoOptions>();
    command->add_option("--seconds", options->seconds, "For how long to publish")
        ->check(CLI::Range(shortest, longest))
        ->capture_default_str();
    command->add_flag("--json", options->asJson, "Print one JSON object a line");
    command->add_option("--log", options->logFile, "Write the library's log lines to a file")->type_name("FILE");
    auto* const processes = command->add_flag("--processes", options->usesProcesses,
                                              "Run the service in a process of its own, reached over a WebSocket");
    addConnectionOptions(*command, options->connection);
    CLI::Option* const url = command->get_option("--url");
    url->description("Use the service at this address instead of one in this process")
        ->default_str("")
        ->excludes(processes);
    command->footer("At a terminal it draws a table; into a pipe it prints plain lines. It exits with 0 only if every\n"
                    "message arrived at every stream, once and in order.");
    command->callback([options, url, &chosen] {
        options->isRemote = url->count() > 0;
        chosen = [options] { return runDemo(*options); };
    });
}

} // namespace vexa::host
