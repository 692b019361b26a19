#include <host/tool/client/ConnectionOptions.hpp>
#include <host/tool/Command.hpp>
#include <host/tool/display/Terminal.hpp>
#include <host/tool/top/SampleJson.hpp>
#include <host/tool/top/SampleSource.hpp>
#include <host/tool/top/ServiceHeading.hpp>
#include <host/tool/top/TopicColumns.hpp>
#include <host/tool/top/TopScreen.hpp>
#include <host/websocket/SteadyDuration.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <CLI/CLI.hpp>

#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

namespace vexa::host {

namespace {

struct TopOptions {
    ConnectionOptions connection;
    double interval = 1;
    std::string sort{traitsOf(TopicOrder{}.column).word};
    std::size_t limit = 0; ///< 0 for all
    bool isOnce = false;
    bool asJson = false;
};

TopicOrder orderOf(const TopOptions& options)
{
    return {topicColumnNamed(options.sort).value_or(TopicOrder{}.column), false};
}

std::vector<const TopicSample*> ordered(const ServiceSample& sample, const TopicOrder& order)
{
    std::vector<const TopicSample*> topics;
    topics.reserve(sample.topics.size());
    for (const TopicSample& each : sample.topics) {
        topics.push_back(&each);
    }
    sortTopics(topics, order);
    return topics;
}

/// Writes a text to the standard output at once; throws when it cannot be written.
void print(const std::string& text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() || std::fflush(stdout) != 0) {
        throw std::runtime_error{"cannot write to the standard output"};
    }
}

/// Passes on what escapes from a coroutine.
void rethrow(const std::exception_ptr& exception)
{
    if (exception != nullptr) {
        std::rethrow_exception(exception);
    }
}

/// Takes two samples, since one alone tells no rates, and prints the second.
boost::asio::awaitable<void> printOnce(boost::asio::io_context& context, SampleSource& source,
                                       const TopOptions& options)
{
    const ServiceSample first = co_await source.take();
    boost::asio::steady_timer timer{context, steadyDuration(options.interval)};
    co_await timer.async_wait(boost::asio::use_awaitable);
    const ServiceSample sample = co_await source.take();
    const auto rates = ratesBetween(first, sample);
    const auto topics = ordered(sample, orderOf(options));
    std::string text;
    if (options.asJson) {
        text = sampleJson(source.url(), sample, rates, topics) + "\n";
    } else {
        const bool hasUnicode = !terminalTraits().isTerminal || terminalTraits().hasUnicode;
        for (const std::string& line : plainTable(source.url(), sample, rates, topics, hasUnicode)) {
            text += line + "\n";
        }
    }
    print(text);
}

void runOnce(boost::asio::io_context& context, SampleSource& source, const TopOptions& options)
{
    boost::asio::co_spawn(context, printOnce(context, source, options), rethrow);
    context.run();
}

/// Prints one JSON object for each sample, until the process is ended.
void runLines(boost::asio::io_context& context, SampleSource& source, const TopOptions& options)
{
    std::optional<ServiceSample> last;
    const auto taken = [&](ServiceSample sample) {
        const auto rates = last ? ratesBetween(*last, sample) : std::nullopt;
        print(sampleJson(source.url(), sample, rates, ordered(sample, orderOf(options))) + "\n");
        last = std::move(sample);
    };
    const auto failed = [&](const std::string& reason) { print(failureJson(source.url(), reason) + "\n"); };
    boost::asio::co_spawn(context, source.takeForEver(options.interval, taken, failed), rethrow);
    context.run();
}

int runTop(TopOptions options)
{
    const bool isOnScreen = !options.isOnce && !options.asJson && terminalTraits().isTerminal;
    if (isOnScreen && ::isatty(STDERR_FILENO) == 1) {
        // Lines of a log would stand across the screen.
        options.connection.isVerbose = false;
    }
    boost::asio::io_context context{1};
    SampleSource source{context, options.connection, options.limit > 0 ? std::optional{options.limit} : std::nullopt};
    if (options.asJson && !options.isOnce) {
        runLines(context, source, options);
        return 0;
    }
    if (isOnScreen) {
        return runTopScreen(context, source, options.interval, orderOf(options));
    }
    runOnce(context, source, options);
    return 0;
}

} // namespace

void addTopCommand(CLI::App& application, ChosenCommand& chosen)
{
    constexpr double shortest = 0.05;
    constexpr double longest = 24.0 * 3600;
    CLI::App* const command =
        application.add_subcommand("top", "Watch a running service: its topics, subscribers, rates and delays.");
    const auto options = std::make_shared<TopOptions>();
    command->add_option("--interval", options->interval, "Seconds from one sample to the next")
        ->type_name("SECONDS")
        ->check(CLI::Range(shortest, longest))
        ->capture_default_str();
    command->add_option("--sort", options->sort, "The column to order the topics by")
        ->type_name("NAME")
        ->check(CLI::IsMember(topicColumnWords()))
        ->capture_default_str();
    command->add_option("--limit", options->limit, "Ask for no more than so many topics, the busiest ones")
        ->type_name("COUNT")
        ->check(CLI::PositiveNumber);
    command->add_flag("--once", options->isOnce,
                      "Print one table and end, as also happens when the output is no terminal; it takes two samples, "
                      "one interval apart, to tell rates");
    command->add_flag("--json", options->asJson, "Print one JSON object a line for each sample, or one with --once");
    addConnectionOptions(*command, options->connection);
    command->footer(
        "Keys: q ends, h shows the others. Delays, refused and late subscriptions are what clients have reported,\n"
        "which they do up to five minutes later. The service must be one of 'vexa serve', whose pages it reads. The\n"
        "exit code is 1 when --once gets no answer.");
    command->callback([options, &chosen] { chosen = [options] { return runTop(*options); }; });
}

} // namespace vexa::host
