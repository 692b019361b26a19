#include "Certificates.hpp"
#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <gtest/gtest.h>
#include <tests/tool/ToolProcess.hpp>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using Arguments = std::vector<std::string>;

Arguments serveOnLoopback(const Arguments& more = {})
{
    Arguments arguments{"serve", "--listen", "127.0.0.1:0"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return arguments;
}

/// The port in the first line of the service's output.
unsigned short portOf(ToolProcess& child, const std::string& scheme = "ws")
{
    const std::string line = child.readLine();
    const std::string beginning = "listening on " + scheme + "://127.0.0.1:";
    EXPECT_EQ(line.substr(0, beginning.size()), beginning);
    return static_cast<unsigned short>(std::stoi(line.substr(beginning.size())));
}

TEST(ServeCommand, ServesUntilItIsToldToEnd)
{
    for (const int signal : {SIGTERM, SIGINT}) {
        ToolProcess child{serveOnLoopback()};
        BasicTestClient<> client{portOf(child)};
        client.connect();
        ASSERT_EQ(client.shakeHands(), 101U);
        static_cast<void>(client.subscribe("scores"));
        client.send(publishRequest("P-1", {numbered(1)}));
        Dictionary first = client.receive();
        Dictionary second = client.receive();
        if (first.at("type") == "data") {
            std::swap(first, second);
        }
        EXPECT_EQ(first.at("accepted"), 1);
        EXPECT_EQ(second.at("messages").at(0).at("payload").at("number"), 1);

        child.signal(signal);
        EXPECT_EQ(client.closeCode(), 1001U);
        EXPECT_EQ(child.wait(), 0);
        EXPECT_EQ(child.readLine(), "") << "the address is all its output";
        EXPECT_EQ(child.readErrors(), "");
    }
}

TEST(ServeCommand, SaysWhatToDoWhenThePortIsTaken)
{
    ServerUnderTest taken;
    ToolProcess child{{"serve", "--listen", taken.server.address().text()}};
    EXPECT_EQ(child.wait(), 1);
    EXPECT_EQ(child.readLine(), "");
    EXPECT_EQ(child.readErrors(), "vexa: cannot listen on " + taken.server.address().text() +
                                      ": Address already in use. Choose another address with --listen HOST:PORT; port "
                                      "0 takes any that is free\n");
}

TEST(ServeCommand, RefusesACommandLineThatMakesNoSense)
{
    for (const Arguments& more : std::vector<Arguments>{{"--listen", "nowhere"},
                                                        {"--broker", "carrier-pigeon"},
                                                        {"--max-topics", "none"},
                                                        {"--max-queue-bytes", "0"},
                                                        {"--tls-key", "key.pem"},
                                                        {"--client-ca", "authority.pem"},
                                                        {"--history-age", "soon"},
                                                        {"--unheard-of"}}) {
        Arguments arguments{"serve"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        ToolProcess child{arguments};
        EXPECT_EQ(child.wait(), 2) << more.front();
        EXPECT_NE(child.readErrors(), "") << more.front();
    }
}

TEST(ServeCommand, SaysWhichFileIsMissing)
{
    ToolProcess child{serveOnLoopback({"--token-file", "/nowhere/tokens"})};
    EXPECT_EQ(child.wait(), 1);
    EXPECT_EQ(child.readErrors(), "vexa: cannot read the token file '/nowhere/tokens': No such file or directory\n");
}

TEST(ServeCommand, ReadsTokensAgainWhenToldTo)
{
    const Certificates folder;
    const std::string file = folder.file("tokens");
    std::ofstream{file} << "old\n";
    ToolProcess child{serveOnLoopback({"--token-file", file})};
    HttpConnection http{portOf(child)};
    EXPECT_EQ(http.get("/topics", "old").result_int(), 200U);

    std::ofstream{file} << "new\n";
    child.signal(SIGHUP);
    EXPECT_EQ(child.readErrorLine(), "vexa: the tokens have been read again");
    EXPECT_EQ(http.get("/topics", "new").result_int(), 200U);
    EXPECT_EQ(http.get("/topics", "old").result_int(), 401U);

    std::filesystem::remove(file);
    child.signal(SIGHUP);
    EXPECT_NE(child.readErrorLine().find("the tokens stay as they were"), std::string::npos);
    EXPECT_EQ(http.get("/topics", "new").result_int(), 200U);
}

TEST(ServeCommand, SpeaksTls)
{
    const Certificates certificates;
    ToolProcess child{serveOnLoopback(
        {"--tls-certificate", certificates.file("server.pem"), "--tls-key", certificates.file("server.key")})};
    EXPECT_NE(portOf(child, "wss"), 0);
    child.signal(SIGTERM);
    EXPECT_EQ(child.wait(), 0);
}

TEST(ServeCommand, KeepsAsMuchHistoryAsItIsTold)
{
    ToolProcess child{serveOnLoopback({"--history-count", "2", "--history-age", "5m", "--max-topics", "1",
                                       "--max-message-bytes", "1KiB", "--threads", "1"})};
    const unsigned short port = portOf(child);
    BasicTestClient<> publisher{port};
    publisher.connect();
    ASSERT_EQ(publisher.shakeHands(), 101U);
    publisher.send(publishRequest("P-1", {numbered(1), numbered(2), numbered(3)}));
    EXPECT_EQ(publisher.receive().at("accepted"), 3);

    BasicTestClient<> subscriber{port};
    subscriber.connect();
    ASSERT_EQ(subscriber.shakeHands(), 101U);
    static_cast<void>(subscriber.subscribe("scores"));
    EXPECT_EQ(subscriber.receiveNumbers(2), (std::vector<int>{2, 3}));
    subscriber.send(testing::subscribeRequest("O-002", {testing::topic("weather")}));
    EXPECT_EQ(subscriber.receive().at("topics").at(0).at("error"), "TooManySubscriptions");
    subscriber.send(std::string(1'025, ' '));
    EXPECT_EQ(subscriber.closeCode(), 1009U);
}

} // namespace
} // namespace vexa::host
