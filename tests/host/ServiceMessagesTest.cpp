#include "ServiceClient.hpp"
#include <host/broker/MemoryBroker.hpp>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

using Numbers = std::vector<int>;

struct ServiceAndClient {
    explicit ServiceAndClient(const ServiceLimits& limits = {})
        : service{MemoryBroker::make({}, platform), limits, platform}, client{platform, service}
    {}

    VirtualPlatform platform;
    VexaService service;
    ServiceClient client;
};

constexpr const char* publication = R"({"category":"vexa","type":"publish","payload":{"requestId":"P-1",
    "topic":{"name":"scores","parameters":{"league":4}},"messages":[{"number":1},{"number":2}]}})";

TEST(ServicePublish, PublishesForAClient)
{
    ServiceAndClient t;
    ServiceClient listener{t.platform, t.service};
    listener.subscribe("scores", Value(json(R"({"league":4})")));

    t.client.send(publication);

    EXPECT_EQ(t.client.take(),
              (Messages{json(R"({"category":"vexa","type":"publishResponse","requestId":"P-1","accepted":2})")}));
    EXPECT_EQ(numbersIn(listener.take()), (Numbers{1, 2}));
    EXPECT_EQ(t.service.figures().published, 2U);
    EXPECT_EQ(t.service.figures().delivered, 2U);
}

TEST(ServicePublish, EndsATopicForAClient)
{
    ServiceAndClient t;
    t.client.subscribe("scores");

    t.client.send(R"({"category":"vexa","type":"publish","payload":{"requestId":"P-1","topic":{"name":"scores"},
                      "messages":[{"number":1,"isTerminating":true}]}})");

    const Messages received = t.client.take();
    EXPECT_EQ(typesOf(received), (std::vector<std::string>{"data", "publishResponse"}));
    EXPECT_EQ(received.at(0).at("messages").at(0).at("payload").at("isTerminating"), true);
}

TEST(ServicePublish, RefusesATopicThatIsTooLong)
{
    ServiceAndClient t{{.topicBytes = 7}};

    t.client.send(publication);

    EXPECT_EQ(t.client.take(), (Messages{json(R"({"category":"vexa","type":"publishResponse","requestId":"P-1",
        "error":"TopicTooLong","errorMessage":"The name and the parameters of a topic may take 7 bytes as JSON"})")}));
    EXPECT_EQ(t.service.figures().published, 0U);
}

TEST(ServicePublish, AcceptsNothingOfAnEmptyPublication)
{
    ServiceAndClient t;

    t.client.send(R"({"category":"vexa","type":"publish","payload":{"requestId":"P-1","topic":{"name":"scores"},
                      "messages":[]}})");

    EXPECT_EQ(t.client.take(),
              (Messages{json(R"({"category":"vexa","type":"publishResponse","requestId":"P-1","accepted":0})")}));
}

TEST(ServicePublish, SaysWhatIsWrongWithARequest)
{
    const std::vector<std::pair<std::string, std::string>> payloads{
        {R"("messages":[])", "'topic' is missing or is no dictionary"},
        {R"("topic":"scores","messages":[])", "'topic' is missing or is no dictionary"},
        {R"("topic":{},"messages":[])", "A topic needs a 'name', which is a text"},
        {R"("topic":{"name":1},"messages":[])", "A topic needs a 'name', which is a text"},
        {R"("topic":{"name":"scores"})", "'messages' is missing or is no list of dictionaries"},
        {R"("topic":{"name":"scores"},"messages":{})", "'messages' is missing or is no list of dictionaries"},
        {R"("topic":{"name":"scores"},"messages":[{"number":1},2])",
         "'messages' is missing or is no list of dictionaries"}};
    ServiceAndClient t;
    t.client.subscribe("scores");

    for (const auto& [payload, sentence] : payloads) {
        t.client.send(R"({"category":"vexa","type":"publish","payload":{"requestId":"P-1",)" + payload + "}}");

        EXPECT_EQ(t.client.take(), (Messages{{{"category", "vexa"},
                                              {"type", "publishResponse"},
                                              {"requestId", "P-1"},
                                              {"error", "MalformedRequest"},
                                              {"errorMessage", sentence}}}))
            << payload;
    }
    EXPECT_EQ(t.service.figures().malformed, payloads.size());
    EXPECT_EQ(t.service.figures().published, 0U);
}

TEST(ServicePublish, CallsTheCompletionOfItsOwnHost)
{
    ServiceAndClient t;
    std::vector<std::size_t> accepted;
    const auto note = [&accepted](const PublishResult& result) { accepted.push_back(result.accepted); };

    t.service.publish("scores", std::nullopt, {numbered(1), numbered(2)}, note);
    t.service.end("scores", std::nullopt, numbered(3), note);
    t.service.publish("scores", std::nullopt, {numbered(4)});
    t.platform.runUntilIdle();

    EXPECT_EQ(accepted, (std::vector<std::size_t>{2, 1}));
    EXPECT_EQ(t.service.figures().published, 4U);
}

TEST(ServiceMessages, SaysWhatIsWrongWithATopic)
{
    ServiceAndClient t;

    t.client.send(R"({"category":"vexa","type":"subscribe","payload":{"operationId":"O-001","topics":[
        7, {}, {"name":7}, {"name":"scores","updatedAt":"now"}, {"name":"scores","updatedAt":null},
        {"name":"scores","updatedAt":0}, {"name":"weather","updatedAt":-1}]}})");

    const Messages answers = t.client.take();
    ASSERT_EQ(answers.size(), 1U);
    const List& topics = answers[0].at("topics").as_array();
    ASSERT_EQ(topics.size(), 7U);
    EXPECT_EQ(topics[0], testing::failure("MalformedRequest", "A topic is a dictionary"));
    EXPECT_EQ(topics[1], testing::failure("MalformedRequest", "A topic needs a 'name', which is a text"));
    EXPECT_EQ(topics[2], testing::failure("MalformedRequest", "A topic needs a 'name', which is a text"));
    EXPECT_EQ(topics[3], testing::failure("MalformedRequest", "'updatedAt' is a number of seconds since 1970"));
    EXPECT_EQ(topics[4], testing::failure("MalformedRequest", "'updatedAt' is a number of seconds since 1970"));
    EXPECT_EQ(topics[5].at("success"), true);
    EXPECT_EQ(topics[6].at("success"), true);
    EXPECT_EQ(t.service.figures().malformed, 1U);
    EXPECT_EQ(t.service.figures().subscriptions, 2U);
}

TEST(ServiceMessages, AnswersASubscribeRequestWithoutAListOfTopics)
{
    ServiceAndClient t;

    for (const char* payload : {R"({"operationId":"O-001"})", R"({"operationId":"O-001","topics":{}})"}) {
        t.client.send(std::string{R"({"category":"vexa","type":"subscribe","payload":)"} + payload + "}");

        EXPECT_EQ(t.client.take(),
                  (Messages{json(R"({"category":"vexa","type":"subscriptionResponse","operationId":"O-001","topics":[],
                      "error":"MalformedRequest","errorMessage":"'topics' is missing or is no list"})")}));
    }
    EXPECT_EQ(t.service.figures().malformed, 2U);
}

TEST(ServiceMessages, CountsWhatNoAnswerCouldName)
{
    ServiceAndClient t;
    const std::vector<std::string> messages{
        R"({"category":"vexa","type":"subscribe"})",
        R"({"category":"vexa","type":"subscribe","payload":[]})",
        R"({"category":"vexa","type":"subscribe","payload":{"topics":[]}})",
        R"({"category":"vexa","type":"subscribe","payload":{"operationId":1,"topics":[{"name":"scores"}]}})",
        R"({"category":"vexa","type":"publish"})",
        R"({"category":"vexa","type":"publish","payload":{"topic":{"name":"scores"},"messages":[{}]}})",
        R"({"category":"vexa","type":"publish","payload":{"requestId":1,"topic":{"name":"scores"},"messages":[{}]}})",
        R"({"category":"log","type":"serverLog"})",
        R"({"category":"log","type":"serverLog","payload":{"category":1,"severity":0,"blob":{}}})",
        R"({"category":"log","type":"serverLog","payload":{"category":"vexa","blob":{}}})",
        R"({"category":"log","type":"serverLog","payload":{"category":"vexa","severity":0.5,"blob":{}}})",
        R"({"category":"log","type":"serverLog","payload":{"category":"vexa","severity":0,"blob":[]}})"};

    for (const std::string& message : messages) {
        t.client.send(message);
    }
    t.client.session().receive(nullptr);

    EXPECT_EQ(t.client.take(), Messages{});
    const ServiceFigures figures = t.service.figures();
    EXPECT_EQ(figures.malformed, messages.size() + 1);
    EXPECT_EQ(figures.published, 0U);
    EXPECT_EQ(figures.subscriptions, 0U);
    EXPECT_EQ(figures.serverLogRecords, 0U);
}

TEST(ServiceMessages, IgnoresAndCountsWhatItDoesNotKnow)
{
    ServiceAndClient t;

    for (const char* message : {R"({})", R"({"category":"vexa"})", R"({"category":"vexa","type":"Subscribe"})",
                                R"({"category":"log","type":"subscribe"})", R"({"category":"vexa","type":"sdk-echo"})",
                                R"({"category":7,"type":"subscribe"})"}) {
        t.client.send(message);
    }

    EXPECT_EQ(t.client.take(), Messages{});
    EXPECT_EQ(t.service.figures().unknown, 6U);
    EXPECT_EQ(t.service.figures().malformed, 0U);
}

TEST(ServiceMessages, KeepsTheNewestDiagnosticRecords)
{
    ServiceAndClient t{{.keptServerLogRecords = 2}};
    for (int number = 1; number <= 3; ++number) {
        t.platform.clock.set(1700000000.0 + number);
        t.client.send(serverLogMessage("vexa", numbered(number), number));
        t.platform.runUntilIdle();
    }

    const auto records = t.service.serverLogRecords();
    ASSERT_EQ(records.size(), 2U);
    EXPECT_EQ(records[0].blob, numbered(2));
    EXPECT_EQ(records[1].blob, numbered(3));
    EXPECT_EQ(records[1].category, "vexa");
    EXPECT_EQ(records[1].severity, 3);
    EXPECT_EQ(records[1].receivedAt, 1700000003.0);
    EXPECT_EQ(t.service.figures().serverLogRecords, 3U);
}

TEST(ServiceMessages, KeepsTheNewestEchoesWhole)
{
    ServiceAndClient t{{.keptEchoes = 1}};
    const Dictionary echo = json(R"({"category":"zltMsg","type":"sdk-echo","msgId":"20002","payload":{"date":"1.0"}})");

    t.client.send(R"({"category":"zltMsg","type":"sdk-echo"})");
    t.client.send(echo);
    t.platform.runUntilIdle();

    const auto echoes = t.service.echoes();
    ASSERT_EQ(echoes.size(), 1U);
    EXPECT_EQ(*echoes[0], echo);
    EXPECT_EQ(t.service.figures().echoes, 2U);
    EXPECT_EQ(t.client.take(), Messages{});
}

TEST(ServiceMessages, GoOnWhenASinkThrows)
{
    ServiceAndClient t;
    int calls = 0;
    Session session = t.service.connect({[&calls](const Dictionary&) {
                                             ++calls;
                                             throw std::runtime_error{"broken pipe"};
                                         },
                                         {}});
    session.receive(std::make_shared<const Dictionary>(subscribeRequest("O-001", {topic("scores")})));
    t.client.subscribe("scores");

    t.service.publish("scores", std::nullopt, {numbered(1)});

    EXPECT_EQ(numbersIn(t.client.take()), Numbers{1});
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(t.platform.takeLogLines(),
              (std::vector<std::string>(2, "VEXA: the sink of a session threw: broken pipe")));
}

TEST(ServiceMessages, LetASinkCloseItsOwnSession)
{
    ServiceAndClient t;
    std::vector<Dictionary> received;
    std::unique_ptr<Session> session;
    session = std::make_unique<Session>(t.service.connect({[&](Dictionary message) {
                                                               received.push_back(std::move(message));
                                                               session->close();
                                                           },
                                                           {}}));
    session->receive(std::make_shared<const Dictionary>(subscribeRequest("O-001", {topic("scores")})));
    t.platform.runUntilIdle();

    t.service.publish("scores", std::nullopt, {numbered(1)});
    t.platform.runUntilIdle();

    EXPECT_EQ(typesOf(received), std::vector<std::string>{"subscriptionResponse"});
    EXPECT_EQ(t.service.figures().sessions, 1U) << "the other client's";
}

TEST(ServiceMessages, OutliveTheServiceObjectWhileASessionStands)
{
    VirtualPlatform platform;
    auto service = std::make_unique<VexaService>(MemoryBroker::make({}, platform), ServiceLimits{}, platform);
    ServiceClient client{platform, *service};
    client.subscribe("scores");

    service.reset();
    client.send(R"({"category":"vexa","type":"publish","payload":{"requestId":"P-1","topic":{"name":"scores"},
                    "messages":[{"number":1}]}})");

    EXPECT_EQ(numbersIn(client.take()), Numbers{1});
}

} // namespace
} // namespace vexa::host
