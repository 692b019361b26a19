#include "NodeClient.hpp"

#include <gtest/gtest.h>
#include <tests/server/Certificates.hpp>
#include <tests/server/ServerUnderTest.hpp>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

enum class Security { plain, tls };

std::string tripled(int count)
{
    std::string text;
    for (int time = 0; time < count; ++time) {
        text += "α€😀";
    }
    return text;
}

/// The server, with a client on the npm package ws.
class NodeClientTest : public ::testing::TestWithParam<Security> {
protected:
    NodeClientTest()
    {
        if (isSecure) {
            options.tls.certificateChain = certificates.file("server.pem");
            options.tls.privateKey = certificates.file("server.key");
        }
    }

    void serve() { under.emplace(std::move(options)); }

    [[nodiscard]] NodeClient client(const std::string& scenario, std::vector<std::string> more = {})
    {
        if (isSecure) {
            more.insert(more.end(), {"--authority", certificates.file("authority.pem")});
        }
        return NodeClient{scenario, under->server.url(), more};
    }

    /// Whether nothing of any client is left at the service.
    [[nodiscard]] bool isEmpty() const
    {
        const ServiceFigures figures = under->service->figures();
        return figures.sessions == 0 && figures.subscriptions == 0 && under->server.figures().connections == 0;
    }

    const bool isSecure = GetParam() == Security::tls;
    const Certificates certificates;
    VexaServerOptions options = loopback();
    std::optional<ServerUnderTest> under;
};

TEST_P(NodeClientTest, SubscribesAndPublishes)
{
    serve();
    NodeClient node = client("exchange");
    const Dictionary subscribed = node.await("message");
    EXPECT_EQ(subscribed.at("isBinary"), false);
    EXPECT_EQ(subscribed.at("message").at("type"), "subscriptionResponse");
    EXPECT_EQ(subscribed.at("message").at("topics").at(0).at("success"), true);
    const List payloads = node.await("entries").at("payloads").as_array();
    ASSERT_EQ(payloads.size(), 4U);
    for (std::size_t place = 0; place < payloads.size(); ++place) {
        EXPECT_EQ(payloads[place].at("number"), place + 1);
    }
    EXPECT_EQ(payloads[3].at("text"), "α€😀");
    EXPECT_EQ(node.await("closed").at("code"), 1000);
    await([this] { return under->closed(CloseReason::byClient) == 1; });
    await([this] { return isEmpty(); });
}

TEST_P(NodeClientTest, SendsFragmentsWithPingsBetweenThem)
{
    serve();
    NodeClient node = client("fragments");
    const List payloads = node.await("entries").at("payloads").as_array();
    ASSERT_EQ(payloads.size(), 2U);
    EXPECT_EQ(payloads[0].at("text"), boost::json::string_view{tripled(100)});
    EXPECT_EQ(payloads[1].at("text"), boost::json::string_view{std::string(200'000, 'x')});
    EXPECT_EQ(node.await("pongs").at("any"), true);
    EXPECT_EQ(under->server.figures().framesReceived, 3U);
}

TEST_P(NodeClientTest, PingsAndIsPinged)
{
    options.timeLimits.idle = 3;
    serve();
    NodeClient node = client("pings");
    for (int number = 0; number < 5; ++number) {
        EXPECT_EQ(node.await("pong").at("payload").as_string(), "ping " + std::to_string(number));
    }
    node.await("asked");
    EXPECT_EQ(node.await("message").at("message").at("type"), "subscriptionResponse") << "it answered all pings";
    EXPECT_EQ(node.await("closed").at("code"), 1000);
    EXPECT_GE(under->server.figures().pingsSent, 2U);
    EXPECT_EQ(under->closed(CloseReason::silent), 0U);
}

TEST_P(NodeClientTest, IsClosedWhenItReadsTooSlowlyAndLosesNothing)
{
    options.limits.queueBytes = 500'000;
    // The closing handshake waits behind everything that the client has not read.
    options.timeLimits.closing = 60;
    serve();
    constexpr int count = 800;
    NodeClient node = client("slow", {"--count", std::to_string(count)});
    EXPECT_EQ(node.await("message").at("message").at("topics").at(0).at("success"), true);
    for (int number = 1; number <= count; ++number) {
        under->service->publish("scores", std::nullopt,
                                {Dictionary{{"number", number}, {"text", std::string(50'000, 'x')}}});
    }
    await([this] { return under->service->figures().sessions == 0; });
    node.goOn();
    const Dictionary caughtUp = node.await("caughtUp");
    const List& numbers = caughtUp.at("numbers").as_array();
    ASSERT_EQ(numbers.size(), static_cast<std::size_t>(count));
    for (std::size_t place = 0; place < numbers.size(); ++place) {
        ASSERT_EQ(numbers[place], place + 1);
    }
    const List& codes = caughtUp.at("codes").as_array();
    ASSERT_GE(codes.size(), 2U);
    for (std::size_t place = 0; place + 1 < codes.size(); ++place) {
        EXPECT_EQ(codes[place], 1013);
    }
    EXPECT_EQ(codes.back(), 1000);
    await([&] { return under->closed(CloseReason::slow) == codes.size() - 1; });
    await([this] { return isEmpty(); });
}

TEST_P(NodeClientTest, LeavesNothingBehindWhenItGoesAbruptly)
{
    serve();
    for (const char* const scenario : {"terminate", "destroy", "reset"}) {
        NodeClient node = client(scenario);
        EXPECT_EQ(node.await("closed").at("code"), 1006) << scenario;
    }
    await([this] { return under->closed(CloseReason::lost) == 3; });
    await([this] { return isEmpty(); });
    NodeClient node = client("exchange");
    EXPECT_EQ(node.await("closed").at("code"), 1000) << "the server serves on";
}

TEST_P(NodeClientTest, IsClosedWith1009AfterAMessageThatIsTooLarge)
{
    options.limits.messageBytes = std::size_t{1024} * 1024;
    serve();
    NodeClient node = client("oversized");
    EXPECT_EQ(node.await("closed").at("code"), 1009);
    await([this] { return under->closed(CloseReason::tooLarge) == 1; });
}

TEST_P(NodeClientTest, IsClosedWith1007AfterATextThatIsNotUtf8)
{
    serve();
    NodeClient node = client("garbled");
    EXPECT_EQ(node.await("closed").at("code"), 1007);
    await([this] { return under->closed(CloseReason::protocol) == 1; });
}

TEST_P(NodeClientTest, NeedsABearerTokenWhereOneIsAskedFor)
{
    options.tokenFile = certificates.file("tokens");
    std::ofstream{options.tokenFile} << "one\ntwo\n";
    serve();
    EXPECT_EQ(client("exchange").await("refused").at("status"), 401);
    EXPECT_EQ(client("exchange", {"--token", "three"}).await("refused").at("status"), 401);
    NodeClient node = client("exchange", {"--token", "two"});
    EXPECT_EQ(node.await("closed").at("code"), 1000);
    EXPECT_EQ(under->server.figures().unauthorized, 2U);
    EXPECT_EQ(under->server.figures().webSocketsOpened, 1U);
}

INSTANTIATE_TEST_SUITE_P(Interoperability, NodeClientTest, ::testing::Values(Security::plain, Security::tls),
                         [](const auto& each) { return each.param == Security::tls ? "Tls" : "Plain"; });

TEST(NodeClientWithoutTrust, DoesNotConnect)
{
    const Certificates certificates;
    VexaServerOptions options = loopback();
    options.tls.certificateChain = certificates.file("server.pem");
    options.tls.privateKey = certificates.file("server.key");
    const ServerUnderTest under{options};
    NodeClient node{"exchange", under.server.url()};
    EXPECT_EQ(node.await("error").at("code"), "UNABLE_TO_VERIFY_LEAF_SIGNATURE");
    EXPECT_EQ(under.server.figures().webSocketsOpened, 0U);
}

} // namespace
} // namespace vexa::host
