#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

using Field = boost::beast::http::field;

/// A broker whose health a test sets.
class AilingBroker final : public Broker {
public:
    void publish(TopicKey /*topic*/, std::vector<Dictionary> /*payloads*/, PublishCompletion /*completion*/) override {}
    std::int64_t subscribe(TopicKey /*topic*/, double /*since*/, std::shared_ptr<BrokerReceiver> /*receiver*/) override
    {
        return 1;
    }
    void cancel(std::int64_t /*subscription*/) override {}
    [[nodiscard]] BrokerStatus status() const override
    {
        return isHealthy ? BrokerStatus{true, "well"} : BrokerStatus{false, "the store is away"};
    }

    std::atomic<bool> isHealthy = true;
};

TEST(Http, TellsTheStateOfHealth)
{
    const auto broker = std::make_shared<AilingBroker>();
    ServerUnderTest under{loopback(), {}, broker};
    HttpConnection http{under.port()};
    const auto well = http.get("/healthz");
    EXPECT_EQ(well.result_int(), 200U);
    EXPECT_EQ(well[Field::content_type], "application/json");
    EXPECT_EQ(json(well.body()).at("status"), "ok");

    broker->isHealthy = false;
    const auto ill = http.get("/healthz");
    EXPECT_EQ(ill.result_int(), 503U);
    EXPECT_EQ(json(ill.body()).at("status"), "unavailable");
    EXPECT_EQ(json(ill.body()).at("broker"), "the store is away");
}

TEST(Http, ServesMetrics)
{
    ServerUnderTest under;
    TestClient client{under};
    static_cast<void>(client.subscribe("scores"));
    client.send("no JSON");
    client.exchange();
    HttpConnection http{under.port()};
    const auto response = http.get("/metrics");
    EXPECT_EQ(response.result_int(), 200U);
    EXPECT_EQ(response[Field::content_type], "text/plain; version=0.0.4; charset=utf-8");
    for (const std::string line : {"vexa_sessions 1", "vexa_subscriptions 1", "vexa_websockets 1", "vexa_connections 2",
                                   "vexa_frames_received_total 3", "vexa_bad_frames_total{kind=\"not_json\"} 1",
                                   "vexa_http_responses_total{code=\"101\"} 1", "vexa_broker_healthy 1"}) {
        EXPECT_NE(response.body().find('\n' + line + '\n'), std::string::npos) << line << " in " << response.body();
    }
}

TEST(Http, ServesTheFiguresOfTopics)
{
    ServerUnderTest under;
    TestClient client{under};
    static_cast<void>(client.subscribe("scores"));
    under.publish(1);
    under.service->publish("weather", Value(json(R"({"town":"Bern"})")), {numbered(1)});
    EXPECT_EQ(client.receiveNumbers(1), std::vector<int>{1});
    client.send(json(R"({"category":"log","type":"serverLog","payload":{"category":"vexa","severity":0,"blob":
        {"vexaMessages":[{"delivery":"online","sentAt":10,"receivedAt":10.25,"topic":{"name":"scores"}}]}}})"));
    client.exchange();
    await([&under] { return under.service->figures().published == 2; });

    HttpConnection http{under.port()};
    const Dictionary page = json(http.get("/topics").body());
    EXPECT_EQ(page.at("topicCount"), 2);
    EXPECT_EQ(page.at("service").at("sessions"), 1);
    EXPECT_EQ(page.at("service").at("brokerIsHealthy"), true);
    const Value& scores = page.at("topics").at(page.at("topics").at(0).at("name") == "scores" ? 0 : 1);
    EXPECT_EQ(scores.at("subscribers"), 1);
    EXPECT_EQ(scores.at("published"), 1);
    EXPECT_EQ(scores.at("received"), 1);
    EXPECT_EQ(scores.at("delivered"), 1);
    EXPECT_EQ(scores.at("delay").at("count"), 1);
    EXPECT_EQ(scores.at("delay").at("mean"), 0.25);
    EXPECT_EQ(scores.at("failedSubscriptions"), 0);
    const Value& weather = page.at("topics").at(page.at("topics").at(0).at("name") == "weather" ? 0 : 1);
    EXPECT_EQ(weather.at("parameters").at("town"), "Bern");
    EXPECT_FALSE(weather.as_object().contains("delay"));

    EXPECT_EQ(json(http.get("/topics?limit=1").body()).at("topics").as_array().size(), 1U);
}

TEST(Http, ServesTheNewestRecords)
{
    ServerUnderTest under;
    TestClient client{under};
    for (const std::string number : {"1", "2", "3"}) {
        client.send(R"({"category":"log","type":"serverLog","payload":{"category":"vexa","severity":0,"blob":{"n":)" +
                    number + "}}}");
    }
    client.exchange();
    HttpConnection http{under.port()};
    const Dictionary page = json(http.get("/records?limit=2").body());
    ASSERT_EQ(page.at("records").as_array().size(), 2U);
    EXPECT_EQ(page.at("records").at(0).at("blob").at("n"), 2);
    EXPECT_EQ(page.at("records").at(1).at("blob").at("n"), 3);
    EXPECT_EQ(json(http.get("/records?limit=0").body()).at("records").as_array().size(), 0U);
    EXPECT_EQ(json(http.get("/records?other=x").body()).at("records").as_array().size(), 3U);
    for (const std::string target : {"/records?limit=", "/records?limit=x", "/records?limit=-1", "/topics?limit=1x"}) {
        EXPECT_EQ(http.get(target).result_int(), 400U) << target;
    }
}

TEST(Http, KnowsNoOtherPath)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    for (const std::string target : {"/nowhere", "/healthz/", "/HEALTHZ", "//"}) {
        EXPECT_EQ(http.get(target).result_int(), 404U) << target;
    }
}

TEST(Http, RefusesOtherMethodsAndNamesThoseItKnows)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    for (const std::string method : {"POST", "PUT", "DELETE", "OPTIONS"}) {
        const auto response = http.ask(method + " /topics HTTP/1.1\r\nHost: x\r\nContent-Length: 4\r\n\r\nbody");
        EXPECT_EQ(response.result_int(), 405U);
        EXPECT_EQ(response[Field::allow], "GET, HEAD");
        EXPECT_TRUE(response.keep_alive()) << "the body has been read";
    }
}

TEST(Http, AnswersHeadLikeGetWithoutABody)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    const auto get = http.get("/records");
    http.write("HEAD /records HTTP/1.1\r\nHost: x\r\n\r\n");
    const auto head = http.read(true);
    EXPECT_EQ(head.result_int(), 200U);
    EXPECT_EQ(head[Field::content_length], get[Field::content_length]);
    EXPECT_EQ(head[Field::content_type], get[Field::content_type]);
    EXPECT_EQ(http.get("/healthz").result_int(), 200U) << "nothing stands between the responses";
}

TEST(Http, AnswersRequestsThatComeTogetherInTheirOrder)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    http.write("GET /healthz HTTP/1.1\r\nHost: x\r\n\r\n"
               "GET /nowhere HTTP/1.1\r\nHost: x\r\n\r\n"
               "POST /metrics HTTP/1.1\r\nHost: x\r\nTransfer-Encoding: chunked\r\n\r\n4\r\nbody\r\n0\r\n\r\n"
               "GET /records HTTP/1.1\r\nHost: x\r\nConnection: close\r\n\r\n");
    EXPECT_EQ(http.read().result_int(), 200U);
    EXPECT_EQ(http.read().result_int(), 404U);
    EXPECT_EQ(http.read().result_int(), 405U);
    const auto last = http.read();
    EXPECT_EQ(last.result_int(), 200U);
    EXPECT_FALSE(last.keep_alive());
    EXPECT_TRUE(http.hasEnded());
}

TEST(Http, KeepsConnectionsOfHttp10OnlyWhenAsked)
{
    ServerUnderTest under;
    HttpConnection kept{under.port()};
    EXPECT_TRUE(kept.ask("GET /healthz HTTP/1.0\r\nConnection: keep-alive\r\n\r\n").keep_alive());
    EXPECT_FALSE(kept.ask("GET /healthz HTTP/1.0\r\n\r\n").keep_alive());
    EXPECT_TRUE(kept.hasEnded());
}

TEST(Http, RefusesWhatIsNoRequest)
{
    ServerUnderTest under;
    for (const std::string request :
         {"nonsense\r\n\r\n", "GET\r\n\r\n", "GET / HTTP/1.1\r\nNo colon\r\n\r\n",
          "GET / HTTP/1.1\r\nHost: x\r\nContent-Length: y\r\n\r\n", "\x16\x03\x01\x02\x01\x01\r\n\r\n"}) {
        HttpConnection http{under.port()};
        const auto response = http.ask(request);
        EXPECT_EQ(response.result_int(), 400U) << request;
        EXPECT_FALSE(response.keep_alive());
        EXPECT_TRUE(http.hasEnded());
    }
}

TEST(Http, RefusesARequestWithoutAHost)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    EXPECT_EQ(http.ask("GET /healthz HTTP/1.1\r\n\r\n").result_int(), 400U);
    EXPECT_EQ(http.ask("GET /healthz HTTP/1.1\r\nHost: x\r\nHost: y\r\n\r\n").result_int(), 400U);
}

TEST(Http, RefusesAnotherVersion)
{
    ServerUnderTest under;
    for (const std::string version : {"HTTP/2.0", "HTTP/1.2", "HTTP/x", "HTCPCP/1.0"}) {
        HttpConnection http{under.port()};
        EXPECT_EQ(http.ask("GET /healthz " + version + "\r\nHost: x\r\n\r\n").result_int(), 505U) << version;
        EXPECT_TRUE(http.hasEnded());
    }
}

TEST(Http, RefusesAHeadThatIsTooLarge)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    const auto response = http.ask("GET /healthz HTTP/1.1\r\nHost: x\r\nX: " + std::string(9'000, 'x') + "\r\n\r\n");
    EXPECT_EQ(response.result_int(), 431U);
    EXPECT_TRUE(http.hasEnded());
}

TEST(Http, RefusesABodyThatIsTooLarge)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    const auto response = http.ask("POST /healthz HTTP/1.1\r\nHost: x\r\nContent-Length: 70000\r\n\r\n");
    EXPECT_EQ(response.result_int(), 413U);
    EXPECT_FALSE(response.keep_alive());
}

TEST(Http, TellsWhoExpectsToContinueHowItEnds)
{
    ServerUnderTest under;
    HttpConnection refused{under.port()};
    const auto response =
        refused.ask("POST /topics HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nExpect: 100-continue\r\n\r\n");
    EXPECT_EQ(response.result_int(), 405U);
    EXPECT_FALSE(response.keep_alive());

    HttpConnection needless{under.port()};
    EXPECT_EQ(needless.ask("GET /topics HTTP/1.1\r\nHost: x\r\nContent-Length: 5\r\nExpect: 100-continue\r\n\r\n")
                  .result_int(),
              413U);

    HttpConnection unknown{under.port()};
    EXPECT_EQ(unknown.ask("GET /topics HTTP/1.1\r\nHost: x\r\nExpect: a-miracle\r\n\r\n").result_int(), 417U);
}

TEST(Http, TellsThatThereIsAWebSocket)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    const auto response = http.get("/");
    EXPECT_EQ(response.result_int(), 426U);
    EXPECT_EQ(response[Field::upgrade], "websocket");
    BasicTestClient<> elsewhere{under.port()};
    elsewhere.connect();
    EXPECT_EQ(elsewhere.shakeHands({}, "/healthz"), 200U) << "an upgrade may be ignored";
}

TEST(Http, RefusesAWebSocketOfAnotherVersion)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    const auto response = http.ask("GET / HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                   "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 8\r\n\r\n");
    EXPECT_EQ(response.result_int(), 426U);
    EXPECT_EQ(response[Field::sec_websocket_version], "13");
    EXPECT_EQ(under.server.figures().webSocketsOpened, 0U);
}

TEST(Http, AgreesToNoCompression)
{
    ServerUnderTest under;
    HttpConnection http{under.port()};
    http.write("GET / HTTP/1.1\r\nHost: x\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
               "Sec-WebSocket-Key: dGhlIHNhbXBsZSBub25jZQ==\r\nSec-WebSocket-Version: 13\r\n"
               "Sec-WebSocket-Extensions: permessage-deflate\r\n\r\n");
    const auto response = http.read(true);
    EXPECT_EQ(response.result_int(), 101U);
    EXPECT_EQ(response.count(Field::sec_websocket_extensions), 0U);
}

TEST(Http, SurvivesClientsThatVanish)
{
    ServerUnderTest under;
    for (int time = 0; time < 20; ++time) {
        HttpConnection http{under.port()};
        http.write(time % 2 == 0 ? "GET /topics HTTP/1.1\r\nHost: x\r\n\r\n" : "GET /top");
        http.socket().set_option(Tcp::socket::linger{true, 0});
    }
    await([&under] { return under.server.figures().accepted == 20 && under.server.figures().connections == 0; });
    HttpConnection http{under.port()};
    EXPECT_EQ(http.get("/healthz").result_int(), 200U);
}

} // namespace
} // namespace vexa::host
