#include "../server/Certificates.hpp"
#include "PseudoTerminal.hpp"
#include "RunningService.hpp"
#include "TemporaryFile.hpp"
#include "ToolOutcome.hpp"

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {
namespace {

using Arguments = std::vector<std::string>;

constexpr std::string_view showCursor = "\x1b[?25h";
constexpr std::string_view leaveScreen = "\x1b[?1049l";

boost::json::object jsonIn(const std::string& text)
{
    return boost::json::parse(text).as_object();
}

/// Publishes lines on a topic and waits until the service has them.
void publish(const RunningService& service, const std::string& topic, const std::string& lines,
             const Arguments& more = {})
{
    const TemporaryFile input{lines};
    Arguments arguments{"pub", topic};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const ToolOutcome outcome = outcomeOf(service.reached(arguments), input.path());
    ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
}

/// A service that has ended: nothing listens there.
std::string deserted()
{
    RunningService service;
    service.process().signal(SIGTERM);
    EXPECT_EQ(service.process().wait(), 0);
    return service.url();
}

TEST(TopOnce, printsATableOfTheTopics)
{
    const RunningService service;
    publish(service, "scores", "1\n2\n3\n", {"--params", "{\"id\":4}"});
    publish(service, "weather", "sunny\n");
    ToolProcess subscriber{service.reached({"sub", "weather", "--text"})};
    ASSERT_EQ(subscriber.readLine(), "sunny");
    const ToolOutcome top = outcomeOf(service.reached({"top", "--once", "--interval", "0.1", "--sort", "subscribers"}));
    EXPECT_EQ(top.exitCode, 0) << top.errors;
    EXPECT_EQ(top.errors, "");
    EXPECT_TRUE(top.output.starts_with("service   " + service.url() + "\nbroker    in this process\n")) << top.output;
    EXPECT_NE(top.output.find("1 subscription\n"), std::string::npos) << top.output;
    EXPECT_NE(top.output.find("4 published ("), std::string::npos) << top.output;
    const std::size_t weather = top.output.find("\nweather ");
    const std::size_t scores = top.output.find("\nscores {\"id\":4} ");
    ASSERT_NE(weather, std::string::npos) << top.output;
    ASSERT_NE(scores, std::string::npos) << top.output;
    EXPECT_LT(weather, scores);
}

TEST(TopOnce, isWhatHappensWithoutATerminal)
{
    const RunningService service;
    publish(service, "scores", "1\n");
    const ToolOutcome top = outcomeOf(service.reached({"top", "--interval", "0.1"}));
    EXPECT_EQ(top.exitCode, 0) << top.errors;
    EXPECT_NE(top.output.find("\nscores "), std::string::npos) << top.output;
}

TEST(TopOnce, printsOneJsonObject)
{
    const RunningService service;
    publish(service, "b", "1\n2\n");
    publish(service, "a", "1\n");
    const ToolOutcome top =
        outcomeOf(service.reached({"top", "--once", "--json", "--interval", "0.1", "--sort", "name"}));
    EXPECT_EQ(top.exitCode, 0) << top.errors;
    const boost::json::object sample = jsonIn(top.output);
    EXPECT_EQ(sample.at("url"), boost::json::string{service.url()});
    EXPECT_EQ(sample.at("isHealthy"), true);
    EXPECT_EQ(sample.at("published"), 3);
    EXPECT_EQ(sample.at("publishedPerSecond").to_number<double>(), 0);
    EXPECT_GT(sample.at("residentBytes").to_number<double>(), 0);
    ASSERT_EQ(sample.at("topics").as_array().size(), 2U);
    EXPECT_EQ(sample.at("topics").at(0).at("name"), "a");
    EXPECT_EQ(sample.at("topics").at(1).at("published"), 2);
}

TEST(TopOnce, asksForNoMoreTopicsThanItIsTold)
{
    const RunningService service;
    publish(service, "busy", "1\n2\n3\n");
    publish(service, "quiet", "1\n");
    ToolProcess subscriber{service.reached({"sub", "busy", "--text"})};
    ASSERT_EQ(subscriber.readLine(), "1");
    const ToolOutcome top = outcomeOf(service.reached({"top", "--once", "--interval", "0.1", "--limit", "1"}));
    EXPECT_TRUE(top.output.ends_with("and 1 more topics\n")) << top.output;
}

TEST(TopOnce, saysWhatToDoWhenThereIsNoService)
{
    const std::string url = deserted();
    for (const Arguments& each :
         {Arguments{"top", "--once", "--url", url}, {"top", "--once", "--json", "--url", url}}) {
        const ToolOutcome top = outcomeOf(each);
        EXPECT_EQ(top.exitCode, 1);
        EXPECT_EQ(top.output, "");
        EXPECT_EQ(top.errors, "vexa: no answer from " + url +
                                  ": reaching the host failed: Connection refused; start a service with 'vexa serve' "
                                  "or name another one with --url\n");
    }
}

TEST(TopOnce, bringsTheTokenThatTheServiceAsksFor)
{
    const TemporaryFile tokens{"first-token\nsecond-token\n"};
    const TemporaryFile token{"second-token\n"};
    const RunningService service{{"--token-file", tokens.path()}};
    const ToolOutcome refused = outcomeOf(service.reached({"top", "--once"}));
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.errors.find("401 Unauthorized"), std::string::npos) << refused.errors;
    EXPECT_NE(refused.errors.find("--token-file"), std::string::npos) << refused.errors;
    const ToolOutcome top =
        outcomeOf(service.reached({"top", "--once", "--interval", "0.1", "--token-file", token.path()}));
    EXPECT_EQ(top.exitCode, 0) << top.errors;
}

TEST(TopOnce, readsAServiceThatSpeaksTls)
{
    const Certificates certificates;
    const RunningService service{{"--tls-certificate", certificates.file("server.pem"), "--tls-key",
                                  certificates.file("server.key"), "--client-ca", certificates.file("authority.pem")}};
    const ToolOutcome untrusted = outcomeOf(service.reached({"top", "--once"}));
    EXPECT_EQ(untrusted.exitCode, 1);
    EXPECT_NE(untrusted.errors.find("--ca FILE"), std::string::npos) << untrusted.errors;
    const ToolOutcome top = outcomeOf(service.reached(
        {"top", "--once", "--interval", "0.1", "--ca", certificates.file("authority.pem"), "--certificate",
         certificates.file("client.pem"), "--key", certificates.file("client.key"), "--verbose"}));
    EXPECT_EQ(top.exitCode, 0) << top.errors;
    EXPECT_NE(top.errors.find("vexa: /topics: 200 and "), std::string::npos) << top.errors;
}

TEST(TopOptions, thatMakeNoSenseAreRefused)
{
    for (const Arguments& each : std::vector<Arguments>{{"top", "--interval", "0"},
                                                        {"top", "--interval", "soon"},
                                                        {"top", "--sort", "colour"},
                                                        {"top", "--limit", "0"},
                                                        {"top", "--ca", "/nonexistent"},
                                                        {"top", "more"}}) {
        const ToolOutcome outcome = outcomeOf(each);
        EXPECT_EQ(outcome.exitCode, 2) << each.back();
        EXPECT_EQ(outcome.output, "");
        EXPECT_NE(outcome.errors, "");
    }
    const ToolOutcome noUrl = outcomeOf({"top", "--once", "--url", "http://127.0.0.1"});
    EXPECT_EQ(noUrl.exitCode, 1);
    EXPECT_NE(noUrl.errors.find("http://127.0.0.1"), std::string::npos) << noUrl.errors;
}

TEST(TopLines, goOnWhenTheServiceGoesAndComesBack)
{
    auto service = std::make_unique<RunningService>();
    const std::string url = service->url();
    ToolProcess top{{"top", "--json", "--interval", "0.1", "--url", url}};
    EXPECT_FALSE(jsonIn(top.readLine()).contains("publishedPerSecond")) << "one sample tells no rate";
    EXPECT_TRUE(jsonIn(top.readLine()).contains("publishedPerSecond"));
    service->process().signal(SIGTERM);
    EXPECT_EQ(service->process().wait(), 0);
    boost::json::object line = jsonIn(top.readLine());
    while (!line.contains("error")) {
        line = jsonIn(top.readLine());
    }
    EXPECT_EQ(line.at("url"), boost::json::string{url});
    ToolProcess again{{"serve", "--listen", url.substr(url.rfind('/') + 1)}};
    ASSERT_EQ(again.readLine(), "listening on " + url);
    while (line.contains("error")) {
        line = jsonIn(top.readLine());
    }
    EXPECT_EQ(line.at("published"), 0);
}

TEST(TopOnATerminal, drawsTheTopicsAndLeavesTheTerminalAsItWas)
{
    const RunningService service;
    publish(service, "scores", "1\n");
    PseudoTerminal terminal{service.reached({"top", "--interval", "0.1"}), 80, 24};
    EXPECT_TRUE(terminal.await("scores"));
    EXPECT_FALSE(terminal.isOrdinary());
    terminal.press("q");
    const std::string rest = terminal.readAll();
    EXPECT_NE(rest.find(showCursor), std::string::npos);
    EXPECT_NE(rest.find(leaveScreen), std::string::npos);
    EXPECT_TRUE(terminal.isOrdinary());
    EXPECT_EQ(terminal.wait(), 0);
}

TEST(TopOnATerminal, leavesTheTerminalAsItWasWhenItIsEndedBySignals)
{
    const RunningService service;
    publish(service, "scores", "1\n");
    for (const int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT}) {
        PseudoTerminal terminal{service.reached({"top", "--interval", "0.1"}), 80, 24};
        EXPECT_TRUE(terminal.await("scores"));
        if (signal == SIGINT) {
            terminal.press("\x03");
        } else {
            terminal.signal(signal);
        }
        EXPECT_NE(terminal.readAll().find(leaveScreen), std::string::npos) << signal;
        EXPECT_TRUE(terminal.isOrdinary()) << signal;
        EXPECT_EQ(terminal.wait(), 128 + signal);
    }
}

TEST(TopOnATerminal, takesKeysAndAnotherSize)
{
    const RunningService service;
    for (const char* const name : {"wanted-topic", "another-topic"}) {
        publish(service, name, "1\n");
    }
    PseudoTerminal terminal{service.reached({"top", "--interval", "0.1", "--sort", "name"}), 80, 24};
    // Only a screen that is drawn anew has every text in one piece.
    const std::string drawAnew = "\x0c";
    EXPECT_TRUE(terminal.await("1 to 2 of 2"));
    terminal.press("/wanted" + drawAnew);
    EXPECT_TRUE(terminal.await("1 filtered out"));
    terminal.press("\x1b" + drawAnew);
    EXPECT_TRUE(terminal.await("another-topic"));
    terminal.press("\x1b[B\x1bOBh" + drawAnew);
    EXPECT_TRUE(terminal.await("reverse the order"));
    terminal.press("h " + drawAnew);
    EXPECT_TRUE(terminal.await("[paused]"));
    terminal.resize(80, 9);
    EXPECT_TRUE(terminal.await("1 to 1 of 2")) << "one line is left for topics";
    terminal.resize(100, 30);
    EXPECT_TRUE(terminal.await("1 to 2 of 2"));
    terminal.press("q");
    EXPECT_NE(terminal.readAll().find(leaveScreen), std::string::npos);
    EXPECT_EQ(terminal.wait(), 0);
}

TEST(TopOnATerminal, waitsForAServiceThatIsAway)
{
    const std::string url = deserted();
    PseudoTerminal terminal{{"top", "--interval", "0.1", "--url", url}, 160, 24};
    EXPECT_TRUE(terminal.await("Connection refused"));
    ToolProcess service{{"serve", "--listen", url.substr(url.rfind('/') + 1)}};
    ASSERT_EQ(service.readLine(), "listening on " + url);
    EXPECT_TRUE(terminal.await("of memory"));
    terminal.press("q");
    EXPECT_NE(terminal.readAll().find(leaveScreen), std::string::npos);
    EXPECT_EQ(terminal.wait(), 0);
}

} // namespace
} // namespace vexa::host
