#include "RunningService.hpp"
#include "TemporaryFile.hpp"
#include "ToolProcess.hpp"

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Arguments = std::vector<std::string>;

boost::json::object jsonIn(const std::string& text)
{
    return boost::json::parse(text).as_object();
}

/// A file of this machine with many lines that are worth reading.
std::string realFile()
{
    for (const char* path : {"/var/lib/dpkg/status", "/etc/services", "/etc/passwd"}) {
        if (std::filesystem::exists(path)) {
            return path;
        }
    }
    return "/proc/cpuinfo";
}

std::string contentOf(const std::string& path)
{
    std::ifstream file{path, std::ios::binary};
    return {std::istreambuf_iterator<char>{file}, {}};
}

struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
};

/// Runs a command to its end.
Outcome run(const Arguments& arguments, const std::string& input = "/dev/null")
{
    ToolProcess process{arguments, input};
    Outcome outcome;
    outcome.output = process.readAll();
    outcome.errors = process.readErrors();
    outcome.exitCode = process.wait();
    return outcome;
}

TEST(SubAndPub, carryAFileOfThisMachineUnchanged)
{
    const std::string file = realFile();
    // All of it, so that nothing depends on which of the two begins first.
    RunningService service{{"--history-count", "10000000"}};
    ToolProcess subscriber{service.reached({"sub", "packages", "--text"})};
    const Outcome published = run(service.reached({"pub", "packages", "--text", "--end"}), file);
    EXPECT_EQ(published.exitCode, 0) << published.errors;
    std::string expected = contentOf(file);
    if (!expected.ends_with('\n')) {
        expected += '\n';
    }
    EXPECT_TRUE(subscriber.readAll() == expected) << "the lines of " << file << " came out different";
    EXPECT_EQ(subscriber.wait(), 0) << "ends with its topic";
}

TEST(SubAndPub, carryObjectsAsTheyStandAndOtherLinesAsText)
{
    RunningService service;
    const TemporaryFile input{
        "{\"number\":1,\"name\":\"α\"}\nplain text\n[1]\n\n  {\"number\":2}\nlast without an end"};
    ASSERT_EQ(run(service.reached({"pub", "mixed", "--end"}), input.path()).exitCode, 0);
    const Outcome received = run(service.reached({"sub", "mixed"}));
    EXPECT_EQ(received.exitCode, 0) << received.errors;
    std::istringstream lines{received.output};
    std::vector<boost::json::object> payloads;
    std::vector<bool> ends;
    for (std::string line; std::getline(lines, line);) {
        const boost::json::object element = jsonIn(line);
        EXPECT_EQ(element.at("topic"), "mixed");
        EXPECT_EQ(element.at("message").at("payload").at("updatedAt").is_double(), true);
        payloads.push_back(element.at("message").at("payload").as_object());
        ends.push_back(element.at("isTerminating").as_bool());
    }
    ASSERT_EQ(payloads.size(), 7U);
    EXPECT_EQ(ends, (std::vector<bool>{false, false, false, false, false, false, true}));
    EXPECT_EQ(payloads[0].at("number"), 1);
    EXPECT_EQ(payloads[0].at("name"), "α");
    EXPECT_EQ(payloads[1].at("text"), "plain text");
    EXPECT_EQ(payloads[2].at("text"), "[1]");
    EXPECT_EQ(payloads[3].at("text"), "");
    EXPECT_EQ(payloads[4].at("number"), 2);
    EXPECT_EQ(payloads[5].at("text"), "last without an end");
}

TEST(SubAndPub, keepTopicsWithParametersApart)
{
    RunningService service;
    const TemporaryFile one{"one\n"};
    const TemporaryFile other{"other\n"};
    ASSERT_EQ(run(service.reached({"pub", "t", "--params", "{\"a\":1}", "--end"}), one.path()).exitCode, 0);
    ASSERT_EQ(run(service.reached({"pub", "t", "--params", "{\"a\":2}", "--end"}), other.path()).exitCode, 0);
    EXPECT_EQ(run(service.reached({"sub", "t", "--params", "{\"a\":1}", "--text"})).output, "one\n");
    EXPECT_EQ(run(service.reached({"sub", "t", "--params", "{\"a\":2}", "--text"})).output, "other\n");
}

TEST(Sub, endsAfterTheNumberOfMessages)
{
    RunningService service;
    const TemporaryFile input{"1\n2\n3\n4\n"};
    ASSERT_EQ(run(service.reached({"pub", "numbers"}), input.path()).exitCode, 0);
    const Outcome received = run(service.reached({"sub", "numbers", "--count", "2", "--text"}));
    EXPECT_EQ(received.output, "1\n2\n");
    EXPECT_EQ(received.exitCode, 0);
}

TEST(Sub, followsSeveralTopicsUntilAllHaveEnded)
{
    RunningService service;
    const TemporaryFile input{"line\n"};
    ToolProcess subscriber{service.reached({"sub", "a", "b", "a", "--json"})};
    ASSERT_EQ(run(service.reached({"pub", "a", "--end"}), input.path()).exitCode, 0);
    EXPECT_EQ(jsonIn(subscriber.readLine()).at("topic"), "a");
    EXPECT_EQ(jsonIn(subscriber.readLine()).at("isTerminating"), true);
    ASSERT_EQ(run(service.reached({"pub", "b", "--end"}), input.path()).exitCode, 0);
    EXPECT_EQ(jsonIn(subscriber.readLine()).at("topic"), "b");
    EXPECT_EQ(jsonIn(subscriber.readLine()).at("isTerminating"), true);
    EXPECT_EQ(subscriber.readAll(), "");
    EXPECT_EQ(subscriber.wait(), 0);
}

TEST(Sub, beginsWhereItIsTold)
{
    RunningService service;
    const TemporaryFile input{"1\n2\n"};
    ASSERT_EQ(run(service.reached({"pub", "numbers", "--end"}), input.path()).exitCode, 0);
    EXPECT_EQ(run(service.reached({"sub", "numbers", "--since", "1h", "--text"})).output, "1\n2\n");
    ToolProcess subscriber{service.reached({"sub", "numbers", "--since", "0", "--text", "--count", "1"})};
    const TemporaryFile more{"3\n"};
    ASSERT_EQ(run(service.reached({"pub", "numbers"}), more.path()).exitCode, 0);
    EXPECT_EQ(subscriber.readAll(), "3\n");
}

TEST(Sub, saysGoodbyeAtASignal)
{
    RunningService service;
    const TemporaryFile input{"line\n"};
    ToolProcess subscriber{service.reached({"sub", "t", "--text"})};
    ASSERT_EQ(run(service.reached({"pub", "t"}), input.path()).exitCode, 0);
    ASSERT_EQ(subscriber.readLine(), "line");
    subscriber.signal(SIGINT);
    EXPECT_EQ(subscriber.readErrors(), "");
    EXPECT_EQ(subscriber.wait(), 128 + SIGINT);
}

TEST(Sub, tellsWhatTheServiceRefusesAndFollowsTheRest)
{
    RunningService service{{"--max-topics", "1"}};
    const TemporaryFile input{"line\n"};
    ASSERT_EQ(run(service.reached({"pub", "a", "--end"}), input.path()).exitCode, 0);
    ASSERT_EQ(run(service.reached({"pub", "b", "--end"}), input.path()).exitCode, 0);
    const Outcome received = run(service.reached({"sub", "a", "b", "--text"}));
    EXPECT_EQ(received.exitCode, 1);
    EXPECT_EQ(received.output, "line\n");
    EXPECT_NE(received.errors.find("the service refused the topic"), std::string::npos) << received.errors;
}

TEST(Pub, leavesOutLinesThatNoRequestHolds)
{
    RunningService service;
    const TemporaryFile input{"before\n" + std::string(3000000, 'x') + "\n" + std::string(200000, '\x01') +
                              "\nafter\n"};
    const Outcome published = run(service.reached({"pub", "t", "--end", "--json"}), input.path());
    EXPECT_EQ(published.exitCode, 1);
    EXPECT_NE(published.errors.find("2 lines are longer than a request may be"), std::string::npos) << published.errors;
    EXPECT_EQ(jsonIn(published.output).at("accepted"), 3);
    EXPECT_EQ(jsonIn(published.output).at("tooLong"), 2);
    EXPECT_EQ(run(service.reached({"sub", "t", "--text"})).output, "before\nafter\n");
}

TEST(Pub, takesLinesOfAlmostTheLargestSize)
{
    RunningService service;
    const std::string longest(1024 * 1024 - 2048, 'y');
    const TemporaryFile input{longest + "\n" + longest + "\nshort\n"};
    ASSERT_EQ(run(service.reached({"pub", "t", "--end"}), input.path()).exitCode, 0);
    EXPECT_TRUE(run(service.reached({"sub", "t", "--text"})).output == longest + "\n" + longest + "\nshort\n");
}

TEST(Pub, replacesWhatIsNoUtf8AndSaysSo)
{
    RunningService service;
    const TemporaryFile input{"a\xC0\xAF\x62\n"};
    const Outcome published = run(service.reached({"pub", "t", "--end"}), input.path());
    EXPECT_EQ(published.exitCode, 0);
    EXPECT_NE(published.errors.find("1 lines are not UTF-8"), std::string::npos) << published.errors;
    EXPECT_EQ(run(service.reached({"sub", "t", "--text"})).output, "a\xEF\xBF\xBD\xEF\xBF\xBD\x62\n");
}

TEST(Pub, goesNoFasterThanItIsTold)
{
    RunningService service;
    std::string lines;
    for (int i = 0; i < 30; ++i) {
        lines += std::to_string(i) + "\n";
    }
    const TemporaryFile input{lines};
    const Outcome published = run(service.reached({"pub", "t", "--rate", "100", "--end", "--json"}), input.path());
    EXPECT_EQ(published.exitCode, 0);
    EXPECT_EQ(jsonIn(published.output).at("accepted"), 31);
    EXPECT_GE(jsonIn(published.output).at("seconds").to_number<double>(), 0.29);
    EXPECT_EQ(run(service.reached({"sub", "t", "--text"})).output, lines);
}

TEST(Pub, tellsWhatIsNotAnsweredWhenItIsInterrupted)
{
    const TemporaryFile input{"1\n2\n"};
    // Nothing listens there: the port of a service that has ended.
    std::string url;
    {
        RunningService service;
        url = service.url();
        service.process().signal(SIGTERM);
        EXPECT_EQ(service.process().wait(), 0);
    }
    ToolProcess publisher{{"pub", "t", "--url", url}, input.path()};
    EXPECT_NE(publisher.readErrorLine().find("still trying to connect to " + url), std::string::npos);
    publisher.signal(SIGTERM);
    publisher.signal(SIGINT);
    EXPECT_NE(publisher.readAll().find("2 were not answered"), std::string::npos);
    EXPECT_GT(publisher.wait(), 128);
}

TEST(Echo, reachesTheService)
{
    RunningService service;
    const Outcome echo = run(service.reached({"echo"}));
    EXPECT_EQ(echo.exitCode, 0) << echo.errors;
    EXPECT_EQ(echo.output, "an echo message went to " + service.url() + "\n");
}

TEST(Echo, saysWhenThereIsNoConnection)
{
    const Outcome echo = run({"echo", "--url", "ws://127.0.0.1:1", "--timeout", "0.2"});
    EXPECT_EQ(echo.exitCode, 1);
    EXPECT_NE(echo.errors.find("no connection to ws://127.0.0.1:1"), std::string::npos) << echo.errors;
}

TEST(ClientCommands, bringTheTokenThatTheServiceAsksFor)
{
    const TemporaryFile tokens{"first-token\nsecond-token\n"};
    const TemporaryFile token{"second-token\n"};
    const TemporaryFile input{"line\n"};
    RunningService service{{"--token-file", tokens.path()}};
    const Outcome refused = run(service.reached({"echo", "--timeout", "0.5"}));
    EXPECT_EQ(refused.exitCode, 1);
    EXPECT_NE(refused.errors.find("401"), std::string::npos) << refused.errors;
    ASSERT_EQ(run(service.reached({"pub", "t", "--end", "--token-file", token.path()}), input.path()).exitCode, 0);
    EXPECT_EQ(run(service.reached({"sub", "t", "--text", "--token-file", token.path()})).output, "line\n");
}

} // namespace
} // namespace vexa::host
