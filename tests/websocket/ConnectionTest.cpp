#include "ClientUnderTest.hpp"
#include "TestService.hpp"
#include <VexaClient/transport/OruClientLogger.hpp>

#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/beast/http/write.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace vexa::host {
namespace {

namespace http = boost::beast::http;
using Entries = Happenings::Entries;
using Request = http::request<http::string_body>;

Request readRequest(TestService::Socket& socket)
{
    boost::beast::flat_buffer buffer;
    Request request;
    http::read(socket, buffer, request);
    return request;
}

/// A service that remembers what it receives.
struct ListeningService {
    Happenings received;
    TestService service{[this](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        for (;;) {
            received.add(end.receive());
        }
    }};
};

TEST(WebSocketConnectionTest, openingIsToldBeforeTheMessagesOfTheConnection)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.send(numbered(1));
        end.send(numbered(2));
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    EXPECT_FALSE(under.client->isOpen());
    under.client->start();
    EXPECT_EQ(under.happenings().await(3), (Entries{"opened", numbered(1), numbered(2)}));
    EXPECT_TRUE(under.client->isOpen());

    under.client->stop();
    EXPECT_EQ(under.happenings().entries(), (Entries{"opened", numbered(1), numbered(2), "closed"}));
    EXPECT_FALSE(under.client->isOpen());
}

TEST(WebSocketConnectionTest, aMessageReachesTheListenersOfItsCategoryAlone)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.send(R"({"category":"other","number":1})");
        end.send(R"({"category":7,"number":2})");
        end.send(R"({"number":3})");
        end.send(R"({"category":"Vexa","number":4})");
        end.send(numbered(5));
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    const auto other = std::make_shared<Follower>();
    const auto second = std::make_shared<Follower>();
    under.client->addCategoryListener("other", other);
    under.client->addCategoryListener("vexa", second);
    under.client->start();
    EXPECT_EQ(second->happenings.await(1), Entries{numbered(5)});
    EXPECT_EQ(under.happenings().await(2), (Entries{"opened", numbered(5)}));
    EXPECT_EQ(other->happenings.entries(), (Entries{R"({"category":"other","number":1})"}));
    EXPECT_EQ(under.client->figures().unrouted, 3U);
    EXPECT_EQ(under.client->figures().received.frames, 5U);
}

TEST(WebSocketConnectionTest, everyRegistrationHasAnIdOfItsOwn)
{
    ClientUnderTest under{"ws://localhost:1/"};
    const auto first = under.client->addCategoryListener("vexa", under.follower);
    const auto second = under.client->addConnectionListener(under.follower);
    EXPECT_GT(first, 0);
    EXPECT_GT(second, first);
}

TEST(WebSocketConnectionTest, aListenerThatThrowsHarmsNobody)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.send(numbered(1));
        end.send(numbered(2));
        end.receiveToTheEnd();
    }};
    ClientUnderTest under{service.url()};
    under.follower->onOpened = [] { throw std::runtime_error{"cannot open"}; };
    under.follower->onMessage = [](const Dictionary&) { throw std::runtime_error{"cannot read"}; };
    under.client->start();
    EXPECT_EQ(under.happenings().await(3), (Entries{"opened", numbered(1), numbered(2)}));
}

TEST(WebSocketConnectionTest, aSentMessageArrivesWhole)
{
    ListeningService listening;
    ClientUnderTest under{listening.service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    Dictionary large = echoMessage(1);
    large["text"] = std::string(500000, 'x');
    under.client->send(subscribeRequest());
    under.client->send(large);
    const Entries received = listening.received.await(2);
    EXPECT_EQ(dictionary(received[0]), subscribeRequest());
    EXPECT_EQ(dictionary(received[1]), large);
    under.client->stop();
    EXPECT_EQ(under.client->figures().sent.frames, 2U);
    EXPECT_EQ(under.client->figures().sent.bytes, received[0].size() + received[1].size());
}

TEST(WebSocketConnectionTest, diagnosticsAndEchoesWaitForTheConnectionAndNothingElseDoes)
{
    ListeningService listening;
    ClientUnderTest under{listening.service.url()};
    under.follower->onOpened = [client = under.client.get()] { client->send(subscribeRequest()); };
    under.client->send(echoMessage(1));
    under.client->send(subscribeRequest());
    under.client->send(dictionary(R"({"category":"vexa","type":"publish","payload":{}})"));
    under.client->logger()->serverLog("vexa", dictionary(R"({"vexaMessages":[]})"), 0);
    EXPECT_EQ(under.client->figures().drops.whileClosed, 2U);
    under.client->start();
    const Entries received = listening.received.await(3);
    EXPECT_EQ(dictionary(received[0]), echoMessage(1));
    EXPECT_EQ(dictionary(received[1]), dictionary(R"({"category":"log","type":"serverLog",
                             "payload":{"category":"vexa","severity":0,"blob":{"vexaMessages":[]}}})"));
    EXPECT_EQ(dictionary(received[2]), subscribeRequest());
}

TEST(WebSocketConnectionTest, theLoggerWritesConsoleLinesToTheSinkAndOutlivesTheClient)
{
    ClientUnderTest under{"ws://localhost:1/"};
    const auto logger = under.client->logger();
    logger->consoleLog("a line of the library");
    EXPECT_EQ(under.console->entries(), Entries{"a line of the library"});
    under.client.reset();
    logger->consoleLog("too late");
    logger->serverLog("vexa", {}, 0);
    EXPECT_EQ(under.console->entries(), Entries{"a line of the library"});
}

TEST(WebSocketConnectionTest, visibilityIsTheHostsToSet)
{
    ClientUnderTest under{"ws://localhost:1/"};
    EXPECT_TRUE(under.client->isVisible());
    under.client->setVisible(false);
    EXPECT_FALSE(under.client->isVisible());
}

TEST(WebSocketConnectionTest, theHandshakeNamesTheTargetTheHostAndTheToken)
{
    Happenings requests;
    TestService service{[&](TestService::Socket& socket, int /*number*/) {
        const Request request = readRequest(socket);
        requests.add(std::string{request.target()});
        requests.add(std::string{request[http::field::host]});
        requests.add(std::string{request[http::field::authorization]});
    }};
    OruWebSocketClientOptions options = optionsFor(service.url("ws", "/live?room=4"));
    options.bearerToken = "first-token";
    ClientUnderTest under{std::move(options)};
    under.client->start();
    const Entries seen = requests.await(3);
    EXPECT_EQ(seen[0], "/live?room=4");
    EXPECT_EQ(seen[1], "localhost:" + std::to_string(service.port()));
    EXPECT_EQ(seen[2], "Bearer first-token");

    under.client->setBearerToken("second-token");
    requests.awaitEntry("Bearer second-token");
    under.client->setBearerToken("");
    requests.awaitEntry("");
}

TEST(WebSocketConnectionTest, aRefusedHandshakeIsToldInWordsAndTriedAgain)
{
    TestService service{[](TestService::Socket& socket, int number) {
        if (number > 2) {
            ServiceEnd{socket}.receiveToTheEnd();
            return;
        }
        readRequest(socket);
        http::response<http::string_body> refusal{http::status::unauthorized, 11};
        refusal.prepare_payload();
        http::write(socket, refusal);
    }};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.happenings().awaitEntry("opened");
    EXPECT_EQ(under.client->lastError(), "the service answered 401 Unauthorized");
    EXPECT_EQ(under.client->figures().attempts, 3U);
    EXPECT_EQ(under.client->figures().connects, 1U);
    EXPECT_EQ(under.client->figures().reconnects, 0U);
}

TEST(WebSocketConnectionTest, whatAServiceSaysCannotForgeALogLine)
{
    TestService service{[](TestService::Socket& socket, int /*number*/) {
        ServiceEnd end{socket};
        end.stream().close({boost::beast::websocket::close_code::going_away, "bye\nVEXA: forged"});
    }};
    ClientUnderTest under{service.url()};
    under.client->start();
    under.console->awaitPart("1001 bye\\nVEXA: forged");
}

class UnusableOptions : public ::testing::Test {
protected:
    static std::string refusal(OruWebSocketClientOptions options)
    {
        try {
            static_cast<void>(OruWebSocketClient::make(std::move(options)));
        } catch (const std::invalid_argument& error) {
            return error.what();
        }
        return "it was taken";
    }

    OruWebSocketClientOptions options = optionsFor("wss://localhost:1/");
};

TEST_F(UnusableOptions, aTokenCannotSmuggleInAnotherField)
{
    options.bearerToken = "token\r\nCookie: a";
    EXPECT_NE(refusal(options).find("bearer token"), std::string::npos);
    ClientUnderTest under{"ws://localhost:1/"};
    EXPECT_THROW(under.client->setBearerToken("a b"), std::invalid_argument);
}

TEST_F(UnusableOptions, timeLimitsArePositive)
{
    options.timeLimits.idle = 0;
    EXPECT_NE(refusal(options).find("'idle'"), std::string::npos);
}

TEST_F(UnusableOptions, aMissingFileIsNamed)
{
    options.tls.authoritiesFile = "/nowhere/authorities.pem";
    EXPECT_NE(refusal(options).find("/nowhere/authorities.pem"), std::string::npos);
}

TEST_F(UnusableOptions, aCertificateComesWithItsKey)
{
    options.tls.certificateFile = "/nowhere/client.pem";
    EXPECT_NE(refusal(options).find("private key"), std::string::npos);
}

} // namespace
} // namespace vexa::host
