#include "ConnectionsLoad.hpp"
#include <host/tool/serve/FileDescriptors.hpp>
#include <host/wire/MessageText.hpp>

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>

namespace {

using vexa::Dictionary;
using vexa::List;

double numberAt(const Dictionary& figures, const char* part, const char* name)
{
    return figures.at(part).at(name).to_number<double>();
}

/// One line for each stretch of time, with a bar.
void printHistogram(const char* title, const Dictionary& comeBack, const char* name)
{
    constexpr std::uint64_t widest = 60;
    const List& counts = comeBack.at(name).as_array();
    std::uint64_t most = 1;
    for (const auto& each : counts) {
        most = std::max(most, each.to_number<std::uint64_t>());
    }
    const double stretch = comeBack.at("secondsPerStretch").to_number<double>();
    fmt::print("  {}\n", title);
    for (std::size_t place = 0; place < counts.size(); ++place) {
        const auto count = counts[place].to_number<std::uint64_t>();
        fmt::print("  {:6.1f} s {:6}  {}\n", static_cast<double>(place) * stretch, count,
                   std::string(static_cast<std::size_t>(count * widest / most), '#'));
    }
}

void printFigures(const Dictionary& figures)
{
    constexpr double bytesPerKibibyte = 1024;
    fmt::print("{} connections\n", figures.at("connections").to_number<std::uint64_t>());
    fmt::print("  connected in        {:.2f} s, {} failed attempts\n", numberAt(figures, "connect", "seconds"),
               numberAt(figures, "connect", "failures"));
    fmt::print("  subscribed in       {:.2f} s, {} refused\n", numberAt(figures, "subscribe", "seconds"),
               numberAt(figures, "subscribe", "refusals"));
    for (const char* const part : {"deliver", "deliverAgain"}) {
        fmt::print("  one message         first after {:.1f} ms, last after {:.1f} ms, {} repeated, {} cut off\n",
                   numberAt(figures, part, "first") * 1e3, numberAt(figures, part, "last") * 1e3,
                   numberAt(figures, part, "repetitions"), numberAt(figures, part, "lost"));
    }
    fmt::print("  service             {:.1f} KiB for a connection, {:.1f} KiB with a subscription, {:.1f} KiB after a "
               "message\n",
               numberAt(figures, "serviceMemory", "bytesPerConnection") / bytesPerKibibyte,
               numberAt(figures, "serviceMemory", "bytesPerSubscriber") / bytesPerKibibyte,
               numberAt(figures, "serviceMemory", "bytesPerSubscriberAfterAMessage") / bytesPerKibibyte);
    fmt::print("  after the cut       {} lost, service back after {:.2f} s, all subscribed after {:.2f} s, "
               "{} attempts of which {} failed\n",
               numberAt(figures, "comeBack", "lost"), numberAt(figures, "comeBack", "serviceBackAfter"),
               numberAt(figures, "comeBack", "lastSubscribed"), numberAt(figures, "comeBack", "attempts"),
               numberAt(figures, "comeBack", "failedAttempts"));
    const Dictionary& comeBack = figures.at("comeBack").as_object();
    printHistogram("attempts to connect, by the time since the cut", comeBack, "attemptsInEachStretch");
    printHistogram("subscribed again, by the time since the cut", comeBack, "subscribedInEachStretch");
}

} // namespace

int main(int count, char** words)
{
    vexa::host::LoadOptions options;
    bool isJson = false;
    CLI::App application{"Thousands of subscribers of one service: how long they take to connect, to subscribe, to get "
                         "a message, and to come back after the service was killed."};
    application.add_option("--connections", options.connections, "How many")->capture_default_str();
    application.add_option("--at-once", options.atOnce, "The most that connect at a time, at first")
        ->check(CLI::PositiveNumber)
        ->capture_default_str();
    application.add_option("--settle", options.settle, "Seconds before the service is killed")->capture_default_str();
    application.add_option("--outage", options.outage, "Seconds for which it stays away")->capture_default_str();
    application
        .add_option("--first-ceiling", options.reconnect.firstCeiling,
                    "The longest delay before the second attempt to come back, in seconds")
        ->capture_default_str();
    application.add_option("--last-ceiling", options.reconnect.lastCeiling, "The longest delay of all, in seconds")
        ->capture_default_str();
    application.add_flag("--json", isJson, "Write the figures as one line of JSON instead of text");
    application.add_option("service", options.service, "Further arguments of `vexa serve`, behind --");
    CLI11_PARSE(application, count, words);
    try {
        vexa::host::raiseFileDescriptorLimit();
        vexa::host::ConnectionsLoad load{options};
        const Dictionary figures = load.run();
        if (isJson) {
            fmt::print("{}\n", vexa::host::messageText(figures));
        } else {
            printFigures(figures);
        }
        return 0;
    } catch (const std::exception& error) {
        fmt::print(stderr, "load_connections: {}\n", error.what());
        return 1;
    }
}
