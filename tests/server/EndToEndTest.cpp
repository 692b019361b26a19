#include "HttpConnection.hpp"
#include "ServerUnderTest.hpp"
#include "TestClient.hpp"

#include <boost/json/serialize.hpp>

#include <gtest/gtest.h>

#include <cstddef>
#include <list>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

TEST(EndToEnd, ASubscriberGetsWhatAnotherClientPublishes)
{
    ServerUnderTest under;
    TestClient subscriber{under};
    TestClient publisher{under};
    const std::string id = subscriber.subscribe("scores");

    publisher.send(publishRequest("P-1", {numbered(1), numbered(2)}));
    EXPECT_EQ(publisher.receive(),
              json(R"({"category":"vexa","type":"publishResponse","requestId":"P-1","accepted":2})"));

    const Dictionary data = subscriber.receive();
    EXPECT_EQ(data.at("category"), "vexa");
    EXPECT_EQ(data.at("type"), "data");
    EXPECT_GT(data.at("sentAt").as_double(), 1.7e9);
    const List& entries = data.at("messages").as_array();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].at("subscriptionId"), boost::json::string_view{id});
    EXPECT_EQ(entries[0].at("payload").at("number"), 1);
    EXPECT_EQ(entries[1].at("payload").at("number"), 2);
    EXPECT_GT(entries[1].at("payload").at("updatedAt").as_double(),
              entries[0].at("payload").at("updatedAt").as_double());
    EXPECT_FALSE(entries[0].as_object().contains("replayed"));
}

TEST(EndToEnd, ASubscriberWhoComesBackGetsWhatItMissed)
{
    ServerUnderTest under;
    double seen = 0;
    {
        TestClient client{under};
        static_cast<void>(client.subscribe("scores"));
        under.publish(1);
        seen = client.receiveEntries().at(0).at("payload").at("updatedAt").as_double();
    }
    under.publish(2);
    under.publish(3);
    TestClient client{under};
    static_cast<void>(client.subscribe("scores", seen));
    const List entries = client.receiveEntries();
    ASSERT_EQ(entries.size(), 2U);
    EXPECT_EQ(entries[0].at("payload").at("number"), 2);
    EXPECT_EQ(entries[0].at("replayed"), true);
    under.publish(4);
    EXPECT_EQ(client.receiveNumbers(1), std::vector<int>{4});
}

TEST(EndToEnd, ALongReplayArrivesWholeAndInOrder)
{
    ServerUnderTest under;
    constexpr int count = 3'000;
    std::vector<Dictionary> payloads;
    for (int number = 1; number <= count; ++number) {
        payloads.push_back(numbered(number));
    }
    under.service->publish("scores", std::nullopt, std::move(payloads));

    TestClient client{under};
    static_cast<void>(client.subscribe("scores"));
    EXPECT_EQ(client.receiveNumbers(count), numbersFrom(1, count));
}

TEST(EndToEnd, TheEndOfATopicArrivesLast)
{
    ServerUnderTest under;
    TestClient client{under};
    static_cast<void>(client.subscribe("scores"));
    under.publish(1);
    under.service->end("scores", std::nullopt, numbered(2));
    EXPECT_EQ(client.receiveNumbers(1).front(), 1);
}

TEST(EndToEnd, EchoesAndRecordsReachTheService)
{
    ServerUnderTest under;
    TestClient client{under};
    const Dictionary echo = json(R"({"category":"zltMsg","type":"sdk-echo","msgId":"48213","payload":{"date":"1.0"}})");
    client.send(echo);
    client.send(
        json(R"({"category":"log","type":"serverLog","payload":{"category":"vexa","severity":0,"blob":{"a":1}}})"));
    client.exchange();

    const auto echoes = under.service->echoes();
    ASSERT_EQ(echoes.size(), 1U);
    EXPECT_EQ(*echoes[0], echo);
    HttpConnection http{under.port()};
    const auto response = http.get("/records");
    EXPECT_EQ(response[boost::beast::http::field::content_type], "application/json");
    const Dictionary page = json(response.body());
    ASSERT_EQ(page.at("records").as_array().size(), 1U);
    EXPECT_EQ(page.at("records").at(0).at("blob"), (json(R"({"a":1})")));
    EXPECT_EQ(page.at("records").at(0).at("category"), "vexa");
    EXPECT_GT(page.at("records").at(0).at("receivedAt").as_double(), 1.7e9);
}

TEST(EndToEnd, TooManyTopicsAreRefusedInTheResponse)
{
    ServiceLimits limits;
    limits.subscriptionsPerSession = 1;
    ServerUnderTest under{loopback(), limits};
    TestClient client{under};
    client.send(testing::subscribeRequest("O-001", {testing::topic("scores"), testing::topic("weather")}));
    const Dictionary answer = client.receive();
    EXPECT_EQ(answer.at("topics").at(0).at("success"), true);
    EXPECT_EQ(answer.at("topics").at(1).at("error"), "TooManySubscriptions");
}

TEST(EndToEnd, ATopicThatIsTooLongIsRefusedInTheResponse)
{
    ServiceLimits limits;
    limits.topicBytes = 100;
    ServerUnderTest under{loopback(), limits};
    TestClient client{under};
    client.send(testing::subscribeRequest("O-001", {testing::topic(std::string(99, 's')), testing::topic("scores")}));
    const Dictionary answer = client.receive();
    EXPECT_EQ(answer.at("topics").at(0).at("error"), "TopicTooLong");
    EXPECT_EQ(answer.at("topics").at(1).at("success"), true);
}

TEST(EndToEnd, OneRequestAsksForAsManyTopicsAsAConnectionMayHave)
{
    ServerUnderTest under;
    TestClient client{under};
    constexpr std::size_t topicCount = ServiceLimits{}.subscriptionsPerSession;
    std::vector<Dictionary> topics;
    for (std::size_t number = 0; number < topicCount; ++number) {
        topics.push_back(testing::topic(std::string(200, 's') + std::to_string(number), std::nullopt, 1700000000.5));
    }
    client.send(testing::subscribeRequest("O-001", topics));
    const Dictionary answer = client.receive();
    ASSERT_EQ(answer.at("topics").as_array().size(), topicCount);
    EXPECT_EQ(under.service->figures().subscriptions, topicCount);
}

TEST(EndToEnd, ASessionThatTheServiceClosesIsClosedWithItsReason)
{
    ServerUnderTest under;
    TestClient client{under};
    static_cast<void>(client.subscribe("scores"));
    under.publish(1);
    EXPECT_EQ(client.receiveNumbers(1), std::vector<int>{1});

    client.send(testing::subscribeRequest("O-002", {testing::topic("scores")}));

    EXPECT_EQ(client.closeCode(), 1008U);
    EXPECT_NE(std::string{client.stream().reason().reason.c_str()}.find("requested again"), std::string::npos);
    await([&under] { return under.closed(CloseReason::byService) == 1; });
}

TEST(EndToEnd, HundredsOfClientsGetEachMessage)
{
    VexaServerOptions options = loopback();
    options.threads = 2;
    ServerUnderTest under{options};
    constexpr std::size_t clientCount = 300;
    constexpr int messageCount = 20;
    std::list<TestClient> clients;
    for (std::size_t number = 0; number < clientCount; ++number) {
        static_cast<void>(clients.emplace_back(under).subscribe("scores"));
    }
    EXPECT_EQ(under.server.figures().webSockets, clientCount);
    EXPECT_EQ(under.service->figures().subscriptions, clientCount);

    for (int number = 1; number <= messageCount; ++number) {
        under.publish(number);
    }
    for (TestClient& client : clients) {
        ASSERT_EQ(client.receiveNumbers(messageCount), numbersFrom(1, messageCount));
    }
    clients.clear();
    await([&under] { return under.server.figures().webSockets == 0 && under.service->figures().sessions == 0; });
    EXPECT_EQ(under.service->figures().subscriptions, 0U);
    EXPECT_EQ(under.server.figures().entriesSent, clientCount * messageCount);
}

TEST(EndToEnd, ALargeMessageArrivesUnchanged)
{
    ServerUnderTest under;
    TestClient subscriber{under};
    static_cast<void>(subscriber.subscribe("scores"));
    TestClient publisher{under};
    const std::string large(900'000, 'x');
    publisher.send(publishRequest("P-1", {Dictionary{{"number", 1}, {"text", large}}}));
    EXPECT_EQ(publisher.receive().at("accepted"), 1);
    EXPECT_EQ(subscriber.receiveEntries().at(0).at("payload").at("text"), boost::json::string_view{large});
}

} // namespace
} // namespace vexa::host
