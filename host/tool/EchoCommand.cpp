#include <host/tool/client/ServiceConnection.hpp>
#include <host/tool/Command.hpp>
#include <VexaClient/transport/Kivora.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <CLI/CLI.hpp>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>

namespace vexa::host {

namespace {

struct EchoOptions {
    ConnectionOptions connection;
    double timeLimit = 10;
};

/// Waits for a connection to open.
class Opening final : public OruClientConnectionListener {
public:
    void connectionOpened() override
    {
        const std::lock_guard lock{mutex_};
        isOpen_ = true;
        changed_.notify_all();
    }
    void connectionClosed() override {}

    /// Whether it has, within so many seconds.
    [[nodiscard]] bool await(double seconds)
    {
        std::unique_lock lock{mutex_};
        return changed_.wait_for(lock, std::chrono::duration<double>{seconds}, [this] { return isOpen_; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    bool isOpen_ = false;
};

int runEcho(const EchoOptions& options)
{
    bool isSent = false;
    {
        const auto opening = std::make_shared<Opening>();
        ServiceConnection connection{options.connection, opening};
        Dependencies::shared().oruClient(connection.transport());
        isSent = opening->await(options.timeLimit);
        if (isSent) {
            VexaDataSender::shared().sendToEcho();
        } else {
            const std::string reason = connection.transport()->lastError();
            note("vexa: no connection to " + options.connection.url + (reason.empty() ? "" : ": ") + reason);
        }
        // The connection ends when what was sent is on its way.
    }
    if (isSent) {
        std::printf("an echo message went to %s\n", options.connection.url.c_str());
    }
    return isSent ? 0 : 1;
}

} // namespace

void addEchoCommand(CLI::App& application, ChosenCommand& chosen)
{
    CLI::App* const command = application.add_subcommand("echo", "Send a test message to the service's echo channel.");
    const auto options = std::make_shared<EchoOptions>();
    command->add_option("--timeout", options->timeLimit, "For how many seconds to wait for a connection")
        ->type_name("SECONDS")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    addConnectionOptions(*command, options->connection);
    command->footer("The service does not answer it; how many it has received is in its /metrics.");
    command->callback([options, &chosen] { chosen = [options] { return runEcho(*options); }; });
}

} // namespace vexa::host
