#include <host/publish/Publisher.hpp>
#include <host/tool/client/LinePublisher.hpp>
#include <host/tool/client/ProgressBar.hpp>
#include <host/tool/client/ServiceConnection.hpp>
#include <host/tool/client/SignalFile.hpp>
#include <host/tool/client/TopicArguments.hpp>
#include <host/tool/Command.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/platform/Text.hpp>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <csignal>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int exitCodeOfSignals = 128;

struct PubOptions {
    ConnectionOptions connection;
    LinePublisherOptions publisher;
    std::string parameters;
    bool asJson = false;
};

/// How many bytes the standard input holds, where that can be known and a person watches; else 0.
std::uint64_t bytesToShow()
{
    struct stat input{};
    if (::isatty(STDERR_FILENO) == 0 || ::fstat(STDIN_FILENO, &input) != 0 || !S_ISREG(input.st_mode)) {
        return 0;
    }
    return static_cast<std::uint64_t>(input.st_size);
}

double perSecond(std::uint64_t count, double seconds)
{
    return seconds > 0 ? static_cast<double>(count) / seconds : 0;
}

void tellOutcome(const LinePublisherProgress& progress, double seconds, bool asJson)
{
    for (const auto& [error, sentence] : progress.refusals) {
        note(joined({"vexa: the service refused messages: ", escapeControlCharacters(sentence), " (",
                     escapeControlCharacters(error), ")"}));
    }
    if (progress.tooLong > 0) {
        note(fmt::format("vexa: {} lines are longer than a request may be and were left out; see --max-message-bytes",
                         progress.tooLong));
    }
    if (progress.repaired > 0) {
        note(
            fmt::format("vexa: {} lines are not UTF-8; what cannot be sent was replaced by U+FFFD", progress.repaired));
    }
    if (asJson) {
        const std::string line = messageText({{"published", progress.published},
                                              {"accepted", progress.accepted},
                                              {"refused", progress.refused},
                                              {"unanswered", progress.unanswered()},
                                              {"tooLong", progress.tooLong},
                                              {"seconds", seconds}});
        std::printf("%s\n", line.c_str());
        return;
    }
    std::string line =
        fmt::format("the service accepted {} of {} messages in {:.2f} s, {:.0f} a second", progress.accepted,
                    progress.published, seconds, perSecond(progress.accepted, seconds));
    if (progress.unanswered() > 0) {
        line += fmt::format("; {} were not answered", progress.unanswered());
    }
    std::printf("%s\n", line.c_str());
}

int runPub(PubOptions options)
{
    options.publisher.parameters = parametersOf(options.parameters);
    // Before there are other threads.
    SignalFile signals{SIGINT, SIGTERM, SIGHUP};
    SystemPlatform& platform = SystemPlatform::shared();
    ServiceConnection connection{options.connection};
    Publisher publisher{connection.transport(), {}, platform};
    LinePublisher lines{publisher, options.publisher, STDIN_FILENO, signals.descriptor(), platform};

    const double startedAt = platform.monotonicNow();
    std::optional<int> signal;
    {
        ProgressBar bar{bytesToShow()};
        lines.run(
            [&](const LinePublisherProgress& progress) {
                bar.draw(progress.inputBytes,
                         fmt::format("{} messages, {:.0f} a second", progress.accepted,
                                     perSecond(progress.accepted, platform.monotonicNow() - startedAt)));
            },
            [&] {
                const bool isSecond = signal.has_value();
                signal = signals.take();
                return isSecond;
            });
    }
    const LinePublisherProgress progress = lines.progress();
    tellOutcome(progress, platform.monotonicNow() - startedAt, options.asJson);
    if (signal) {
        return exitCodeOfSignals + *signal;
    }
    return progress.accepted == progress.published && progress.tooLong == 0 ? 0 : 1;
}

} // namespace

void addPubCommand(CLI::App& application, ChosenCommand& chosen)
{
    CLI::App* const command =
        application.add_subcommand("pub", "Publish each line of the standard input as a message of a topic.");
    const auto options = std::make_shared<PubOptions>();
    command->add_option("topic", options->publisher.topic, "The topic")->required()->type_name("TOPIC");
    addParametersOption(*command, options->parameters);
    command->add_flag("--end", options->publisher.endsTopic, "End the topic after the last message");
    command->add_option("--rate", options->publisher.rate, "Publish no more than so many messages a second")
        ->check(CLI::PositiveNumber);
    command->add_flag("--text", options->publisher.takesLinesAsText,
                      "Publish every line as {\"text\":…}, also one that is a JSON object");
    command
        ->add_option("--max-message-bytes", options->publisher.requestBytes,
                     "The largest message that the service takes; 64KiB and the like are understood")
        ->transform(CLI::AsSizeValue{false})
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    command->add_flag("--json", options->asJson, "Print the outcome as a JSON object");
    addConnectionOptions(*command, options->connection);
    command->footer(
        "A line that is a JSON object is published as it stands, any other as {\"text\":…}. What the service\n"
        "does not answer is sent again, and taken once. The exit code is 0 when the service accepted\n"
        "everything. Ctrl-C stops reading and waits for what is under way; a second one does not wait.");
    command->callback([options, &chosen] { chosen = [options] { return runPub(*options); }; });
}

} // namespace vexa::host
