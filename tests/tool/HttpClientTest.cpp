#include "../server/Certificates.hpp"
#include "RunningService.hpp"
#include "ScriptedHttpServer.hpp"
#include <host/tool/client/HttpClient.hpp>

#include <boost/asio/co_spawn.hpp>

#include <gtest/gtest.h>

#include <exception>
#include <optional>
#include <string>
#include <utility>

namespace vexa::host {
namespace {

std::string answer(const std::string& body, const std::string& fields = "")
{
    return "HTTP/1.1 200 OK\r\n" + fields + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A client with a context of its own, which waits for each answer.
class WaitingClient {
public:
    explicit WaitingClient(HttpClientOptions options) : client_{context_, std::move(options)} {}

    HttpReply get(const std::string& target)
    {
        HttpReply answered;
        std::exception_ptr failure;
        boost::asio::co_spawn(context_, client_.get(target), [&](std::exception_ptr exception, HttpReply reply) {
            failure = std::move(exception);
            answered = std::move(reply);
        });
        context_.restart();
        context_.run();
        if (failure != nullptr) {
            std::rethrow_exception(failure);
        }
        return answered;
    }

    /// Why a request is not answered; nothing when it is.
    std::optional<HttpTrouble> troubleWith(const std::string& target, const std::string& words)
    {
        try {
            get(target);
        } catch (const HttpFailure& failure) {
            EXPECT_NE(std::string{failure.what()}.find(words), std::string::npos) << failure.what();
            return failure.trouble();
        }
        return std::nullopt;
    }

private:
    boost::asio::io_context context_;
    HttpClient client_;
};

HttpClientOptions optionsFor(const ScriptedHttpServer& server)
{
    HttpClientOptions options;
    options.address = server.address();
    return options;
}

HttpClientOptions optionsFor(const RunningService& service)
{
    HttpClientOptions options;
    options.address = webSocketAddress(service.url());
    return options;
}

TEST(HttpClient, keepsItsConnection)
{
    ScriptedHttpServer server{{{answer("one"), answer("two")}}};
    WaitingClient client{optionsFor(server)};
    EXPECT_EQ(client.get("/first").body, "one");
    EXPECT_EQ(client.get("/second").body, "two");
    const auto requests = server.requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].first, requests[1].first);
    EXPECT_TRUE(requests[1].second.starts_with("GET /second HTTP/1.1\r\n"));
    EXPECT_NE(requests[1].second.find("Host: " + server.address().authority + "\r\n"), std::string::npos);
    EXPECT_EQ(requests[1].second.find("Authorization"), std::string::npos);
}

TEST(HttpClient, makesAKeptConnectionAnewOnceItWasClosed)
{
    ScriptedHttpServer server{{{answer("one")}, {answer("two")}}};
    WaitingClient client{optionsFor(server)};
    EXPECT_EQ(client.get("/").body, "one");
    EXPECT_EQ(client.get("/").body, "two");
    EXPECT_EQ(server.requests().back().first, 1);
}

TEST(HttpClient, leavesAConnectionThatTheServerWillClose)
{
    ScriptedHttpServer server{{{answer("one", "Connection: close\r\n"), answer("never")}, {answer("two")}}};
    WaitingClient client{optionsFor(server)};
    EXPECT_EQ(client.get("/").body, "one");
    EXPECT_EQ(client.get("/").body, "two");
}

TEST(HttpClient, readsEveryFormOfAnAnswer)
{
    ScriptedHttpServer server{
        {{"HTTP/1.1 103 Early Hints\r\n\r\nHTTP/1.1 404 Nowhere\r\nTransfer-Encoding: chunked\r\n\r\n"
          "3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n",
          "HTTP/1.0 200 OK\r\n\r\nuntil the end"}}};
    WaitingClient client{optionsFor(server)};
    const HttpReply chunked = client.get("/");
    EXPECT_EQ(chunked.status, 404U);
    EXPECT_EQ(chunked.reason, "Nowhere");
    EXPECT_EQ(chunked.body, "abcde");
    EXPECT_EQ(client.get("/").body, "until the end");
}

TEST(HttpClient, showsItsToken)
{
    ScriptedHttpServer server{{{answer("one")}}};
    HttpClientOptions options = optionsFor(server);
    options.bearerToken = "secret";
    WaitingClient client{options};
    EXPECT_EQ(client.get("/").body, "one");
    EXPECT_NE(server.requests().front().second.find("Authorization: Bearer secret\r\n"), std::string::npos);
}

TEST(HttpClient, saysWhatKeptARequestFromBeingAnswered)
{
    ScriptedHttpServer server{
        {{"SSH-2.0-server\r\n\r\n"}, {"HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\nhalf"}, {answer("fine")}}};
    WaitingClient client{optionsFor(server)};
    EXPECT_EQ(client.troubleWith("/a", "asking for /a failed"), HttpTrouble::unreadable);
    EXPECT_EQ(client.troubleWith("/b", "asking for /b failed"), HttpTrouble::unreachable);
    EXPECT_EQ(client.get("/c").body, "fine") << "and goes on";
}

TEST(HttpClient, takesNoMoreThanItsLimits)
{
    ScriptedHttpServer server{{{answer(std::string(101, 'x'))},
                               {answer("", "Filler: " + std::string(20000, 'x') + "\r\n")},
                               {answer(std::string(100, 'x'))}}};
    HttpClientOptions options = optionsFor(server);
    options.bodyBytes = 100;
    options.headBytes = 1000;
    WaitingClient client{options};
    EXPECT_EQ(client.troubleWith("/", "body limit"), HttpTrouble::unreadable);
    EXPECT_EQ(client.troubleWith("/", "header limit"), HttpTrouble::unreadable);
    EXPECT_EQ(client.get("/").body.size(), 100U);
}

TEST(HttpClient, doesNotWaitForEver)
{
    ScriptedHttpServer server{{{""}, {answer("fine")}}};
    HttpClientOptions options = optionsFor(server);
    options.timeLimit = 0.2;
    WaitingClient client{options};
    EXPECT_EQ(client.troubleWith("/silent", "asking for /silent took too long"), HttpTrouble::late);
    EXPECT_EQ(client.get("/").body, "fine");
}

TEST(HttpClient, saysWhenNobodyListens)
{
    HttpClientOptions options;
    {
        const ScriptedHttpServer gone{{}};
        options = optionsFor(gone);
    }
    WaitingClient client{options};
    EXPECT_EQ(client.troubleWith("/", "reaching the host failed"), HttpTrouble::unreachable);
}

TEST(HttpClient, trustsOnlyTheAuthoritiesThatItIsGiven)
{
    const Certificates certificates;
    const RunningService service{
        {"--tls-certificate", certificates.file("server.pem"), "--tls-key", certificates.file("server.key")}};
    HttpClientOptions options = optionsFor(service);
    EXPECT_EQ(WaitingClient{options}.troubleWith("/healthz", "certificate is not accepted"), HttpTrouble::untrusted);
    options.tls.authoritiesFile = certificates.file("authority.pem");
    WaitingClient client{options};
    EXPECT_EQ(client.get("/healthz").status, 200U);
    EXPECT_EQ(client.get("/metrics").status, 200U) << "on the same connection";
    options.tls = {};
    options.tls.verifiesPeer = false;
    EXPECT_EQ(WaitingClient{options}.get("/healthz").status, 200U);
}

} // namespace
} // namespace vexa::host
