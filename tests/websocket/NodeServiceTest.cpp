#include "ChildProcess.hpp"
#include "ClientUnderTest.hpp"
#include "Prepared.hpp"
#include <VexaClient/platform/JsonReaders.hpp>

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {
namespace {

using Entries = Happenings::Entries;

enum class Security { plain, tls };

/// A client of a service that is written on the npm package ws.
class NodeServiceTest : public ::testing::TestWithParam<Security> {
protected:
    void connect(const std::string& path)
    {
        OruWebSocketClientOptions options =
            optionsFor((isSecure ? "wss://localhost:" : "ws://localhost:") + port + path);
        options.outgoing.bytes = std::size_t{64} * 1024 * 1024;
        if (isSecure) {
            options.tls.authoritiesFile = certificateFile("authority.pem");
        }
        under.emplace(std::move(options));
        under->client->start();
        under->happenings().awaitEntry("opened");
    }

    /// The message at `index` behind the opening.
    Dictionary received(std::size_t index) { return dictionary(under->happenings().await(index + 2)[index + 1]); }

    static std::string textAt(const Dictionary& message, std::string_view key)
    {
        return std::string{stringAt(message, key).value_or("no text")};
    }

    const bool isSecure = GetParam() == Security::tls;
    ChildProcess service{isSecure ? std::vector<std::string>{"node", VEXA_WEBSOCKET_TESTS "/node/service.js",
                                                             certificateFile("localhost.key"),
                                                             certificateFile("localhost.pem")}
                                  : std::vector<std::string>{"node", VEXA_WEBSOCKET_TESTS "/node/service.js"},
                         "/"};
    const std::string port = service.readLine();
    std::optional<ClientUnderTest> under;
};

TEST_P(NodeServiceTest, messagesGoThereAndBack)
{
    connect("/echo");
    Dictionary large = echoMessage(2);
    large["text"] = std::string(300000, 'x');
    large["unicode"] = "α€😀";
    for (const Dictionary& message : {subscribeRequest(), echoMessage(1), large}) {
        under->client->send(message);
    }
    EXPECT_EQ(received(0)["received"], subscribeRequest());
    EXPECT_EQ(received(1)["received"], echoMessage(1));
    EXPECT_EQ(received(2)["received"], large);
}

TEST_P(NodeServiceTest, fragmentsAreOneMessageWhateverComesBetweenThem)
{
    connect("/fragments");
    std::string characters;
    for (int i = 0; i < 100; ++i) {
        characters += "α€😀";
    }
    EXPECT_EQ(textAt(received(0), "text"), characters);
    EXPECT_EQ(textAt(received(1), "text"), std::string(200000, 'x'));
    EXPECT_EQ(textAt(received(2), "text"), "last");
    EXPECT_EQ(under->client->figures().received.frames, 3U);
}

TEST_P(NodeServiceTest, pingsAreAnswered)
{
    connect("/pings");
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(textAt(received(i), "pong"), "ping " + std::to_string(i));
    }
}

TEST_P(NodeServiceTest, aServiceThatReadsSlowlyGetsEverythingInOrder)
{
    connect("/slow");
    for (int i = 0; i < 1000; ++i) {
        Dictionary message = echoMessage(i);
        message["number"] = i;
        message["text"] = std::string(4000, 'x');
        under->client->send(message);
    }
    under->client->send(dictionary(R"({"category":"test","type":"end"})"));
    const Dictionary report = received(0);
    EXPECT_EQ(report.at("count"), 1000);
    EXPECT_EQ(report.at("isOrdered"), true);
}

TEST_P(NodeServiceTest, aConnectionThatIsCutComesBack)
{
    connect("/reset");
    for (int i = 1; i <= 5; ++i) {
        under->client->send(echoMessage(i));
        under->happenings().awaitEntry("opened", i + 1);
    }
    const Entries entries = under->happenings().entries();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        EXPECT_EQ(entries[i], i % 2 == 0 ? "opened" : "closed");
    }
}

INSTANTIATE_TEST_SUITE_P(WebSocketNode, NodeServiceTest, ::testing::Values(Security::plain, Security::tls),
                         [](const auto& each) { return each.param == Security::tls ? "tls" : "plain"; });

} // namespace
} // namespace vexa::host
