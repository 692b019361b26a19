#include <host/tool/client/Duration.hpp>
#include <host/tool/client/MessageLines.hpp>
#include <host/tool/client/ServiceConnection.hpp>
#include <host/tool/client/TopicArguments.hpp>
#include <host/tool/client/WatchedTransport.hpp>
#include <host/tool/Command.hpp>
#include <host/tool/display/Terminal.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/SystemPlatform.hpp>
#include <VexaClient/platform/Text.hpp>
#include <VexaClient/VexaSubscriptionStream.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <CLI/CLI.hpp>

#include <cstdint>
#include <cstdio>
#include <list>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <signal.h>
#include <unistd.h>

namespace vexa::host {

namespace {

constexpr int exitCodeOfSignals = 128;

enum class LineForm : std::uint8_t { plain, json, text };

struct SubOptions {
    ConnectionOptions connection;
    std::vector<std::string> topics;
    std::string parameters;
    std::string since;
    std::uint64_t count = 0; ///< 0 for no end
    bool asJson = false;
    bool asText = false;
};

LineForm formOf(const SubOptions& options)
{
    if (options.asText) {
        return LineForm::text;
    }
    return options.asJson || !terminalTraits().isTerminal ? LineForm::json : LineForm::plain;
}

/// Follows topics and writes each message as a line, all on the thread of one context.
class Subscriber {
public:
    Subscriber(boost::asio::io_context& context, LineForm form, std::uint64_t count)
        : context_{context}, form_{form}, left_{count}, isCounted_{count > 0}
    {}

    void follow(const std::string& topic, AsyncStream<VexaSubscriptionStream::Element> stream)
    {
        ++following_;
        streams_.push_back({topic, std::move(stream), false});
        boost::asio::co_spawn(context_, take(streams_.back()), boost::asio::detached);
    }

    void refused(const std::string& topic, const ServiceError& reason)
    {
        note(joined({"vexa: the service refused the topic ", escapeControlCharacters(topic), ": ",
                     escapeControlCharacters(reason.errorMessage), " (", escapeControlCharacters(reason.error), ")"}));
        wasRefused_ = true;
        for (Following& each : streams_) {
            if (each.topic == topic && !each.hasEnded) {
                each.stream.cancel();
            }
        }
    }

    /// Ends all streams, and with them run().
    void end()
    {
        for (Following& each : streams_) {
            each.stream.cancel();
        }
    }

    [[nodiscard]] bool wasRefused() const noexcept { return wasRefused_; }

private:
    struct Following {
        std::string topic;
        AsyncStream<VexaSubscriptionStream::Element> stream;
        bool hasEnded;
    };

    boost::asio::awaitable<void> take(Following& following)
    {
        while (const auto element = co_await following.stream.next(boost::asio::use_awaitable)) {
            write(following.topic, *element);
        }
        following.hasEnded = true;
        if (--following_ == 0) {
            flush();
            context_.stop();
        }
    }

    void write(const std::string& topic, const VexaSubscriptionStream::Element& element)
    {
        if (isCounted_ && left_ == 0) {
            return;
        }
        if (const auto line = lineOf(topic, element)) {
            std::fwrite(line->data(), 1, line->size(), stdout);
            std::fputc('\n', stdout);
        }
        if (std::ferror(stdout) != 0) {
            // Whoever read the lines has gone.
            end();
            return;
        }
        if (isCounted_ && --left_ == 0) {
            end();
        }
        // Behind what is ready now, so that a burst goes out in few pieces and the last of it at once.
        if (!std::exchange(isFlushing_, true)) {
            boost::asio::post(context_, [this] { flush(); });
        }
    }

    [[nodiscard]] std::optional<std::string> lineOf(const std::string& topic,
                                                    const VexaSubscriptionStream::Element& element) const
    {
        switch (form_) {
        case LineForm::json:
            return jsonLine(topic, element);
        case LineForm::text:
            return textLine(element);
        case LineForm::plain:
            break;
        }
        return plainLine(topic, element);
    }

    void flush()
    {
        isFlushing_ = false;
        if (std::fflush(stdout) != 0) {
            end();
        }
    }

    boost::asio::io_context& context_;
    const LineForm form_;
    std::uint64_t left_;
    const bool isCounted_;
    std::list<Following> streams_;
    std::size_t following_ = 0;
    bool isFlushing_ = false;
    bool wasRefused_ = false;
};

int runSub(const SubOptions& options)
{
    const Parameters parameters = parametersOf(options.parameters);
    std::optional<double> since;
    if (!options.since.empty()) {
        since = Platform::system().now() - readDuration(options.since).value_or(0);
    }
    // A reader that goes ends the command by the error of the next write, so that it can say goodbye to the service.
    ::signal(SIGPIPE, SIG_IGN);
    ServiceConnection connection{options.connection};
    boost::asio::io_context context;
    Subscriber subscriber{context, formOf(options), options.count};
    Dependencies::shared().oruClient(WatchedTransport::make(
        connection.transport(), [&context, &subscriber](std::string_view topic, const ServiceError& reason) {
            boost::asio::post(context,
                              [&subscriber, topic = std::string{topic}, reason] { subscriber.refused(topic, reason); });
        }));
    const std::set<std::string> topics(options.topics.begin(), options.topics.end());
    for (const std::string& topic : topics) {
        subscriber.follow(topic, VexaSubscriptionStream::createStream(topic, parameters, since));
    }
    std::optional<int> signal;
    boost::asio::signal_set signals{context, SIGINT, SIGTERM, SIGHUP};
    signals.async_wait([&](const boost::system::error_code& error, int number) {
        if (!error) {
            signal = number;
            subscriber.end();
        }
    });
    context.run();
    if (signal) {
        return exitCodeOfSignals + *signal;
    }
    return subscriber.wasRefused() ? 1 : 0;
}

} // namespace

void addSubCommand(CLI::App& application, ChosenCommand& chosen)
{
    CLI::App* const command =
        application.add_subcommand("sub", "Subscribe to topics and print each message as it comes.");
    const auto options = std::make_shared<SubOptions>();
    command->add_option("topic", options->topics, "The topics to follow")->required()->type_name("TOPIC");
    addParametersOption(*command, options->parameters);
    command->add_option("--since", options->since, "Also what was published in the last seconds, or 5m, 2h, 7d")
        ->check(CLI::Validator{[](const std::string& text) {
                                   return readDuration(text) ? std::string{}
                                                             : "is no span of time; write 90, 30s, 5m, 2h or 7d";
                               },
                               "SECONDS|5m"});
    command->add_option("--count", options->count, "End after so many messages")->check(CLI::PositiveNumber);
    auto* const json = command->add_flag("--json", options->asJson, "Print one JSON object a line, also at a terminal");
    command->add_flag("--text", options->asText, "Print the \"text\" of each payload and nothing else")->excludes(json);
    addConnectionOptions(*command, options->connection);
    command->footer(
        "Without --since it begins with all that the service keeps of a topic. Into a pipe it prints JSON,\n"
        "{\"topic\":…,\"message\":{…},\"isTerminating\":…} a line. It ends when the service has ended all\n"
        "topics, after --count messages, or at Ctrl-C; the exit code is 1 when the service refused a topic.");
    command->callback([options, &chosen] { chosen = [options] { return runSub(*options); }; });
}

} // namespace vexa::host
