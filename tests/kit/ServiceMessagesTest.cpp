#include <testing/ServiceMessages.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace vexa::testing {
namespace {

Dictionary json(const char* text)
{
    return boost::json::parse(text).get_object();
}

TEST(ServiceMessages, aSubscribeRequest)
{
    EXPECT_EQ(subscribeRequest("O-007", {topic("scores", Value{{"league", 4}}, 1700000000.25), topic("news")}),
              json(R"({"category": "vexa", "type": "subscribe", "payload": {"operationId": "O-007", "topics": [
                       {"name": "scores", "parameters": {"league": 4}, "updatedAt": 1700000000.25},
                       {"name": "news"}]}})"));
    EXPECT_EQ(subscribeRequest("O-001", {}),
              json(R"({"category": "vexa", "type": "subscribe", "payload": {"operationId": "O-001", "topics": []}})"));
}

TEST(ServiceMessages, aTopicLeavesOutWhatIsAbsent)
{
    EXPECT_EQ(topic("scores"), json(R"({"name": "scores"})"));
    EXPECT_EQ(topic("scores", std::nullopt, -1.0), json(R"({"name": "scores"})"));
    EXPECT_EQ(topic("scores", Value(nullptr)), json(R"({"name": "scores", "parameters": null})"));
}

TEST(ServiceMessages, aSubscriptionResponse)
{
    EXPECT_EQ(
        subscriptionResponse("O-001", {success("s-1"), failure("Denied", "not yours"), failure(), successWithoutId()}),
        json(R"({"category": "vexa", "type": "subscriptionResponse", "operationId": "O-001", "topics": [
                       {"success": true, "subscriptionId": "s-1"},
                       {"success": false, "error": "Denied", "errorMessage": "not yours"},
                       {"success": false}, {"success": true}]})"));
    EXPECT_EQ(subscriptionResponse("O-001", {}, "subscribeResponse").at("type"), "subscribeResponse");
}

TEST(ServiceMessages, aDataMessage)
{
    EXPECT_EQ(dataMessage({entry("s-1", {{"score", 1}}), entry("s-2", {}, true), terminatingEntry("s-3")}, 2.5),
              json(R"({"category": "vexa", "type": "data", "sentAt": 2.5, "messages": [
                       {"subscriptionId": "s-1", "payload": {"score": 1}},
                       {"subscriptionId": "s-2", "payload": {}, "replayed": true},
                       {"subscriptionId": "s-3", "payload": {"isTerminating": true}}]})"));
    EXPECT_EQ(dataMessage({}), json(R"({"category": "vexa", "type": "data", "messages": []})"));
    EXPECT_EQ(entry("s-1", {}, false).at("replayed"), false);
}

TEST(ServiceMessages, aSubscribeRequestIsRead)
{
    const Dictionary request = subscribeRequest("O-002", {topic("scores"), topic("news")});
    EXPECT_TRUE(isSubscribeRequest(request));
    EXPECT_EQ(operationIdOf(request), "O-002");
    EXPECT_EQ(topicsOf(request), (std::vector<Dictionary>{topic("scores"), topic("news")}));
    EXPECT_EQ(topicNamesOf(request), (std::vector<std::string>{"scores", "news"}));
    EXPECT_EQ(topicNamesOf(subscribeRequest("O-003", {Dictionary{}})), std::vector<std::string>{""});
}

TEST(ServiceMessages, whatIsNoSubscribeRequestIsRefused)
{
    for (const char* text : {
             R"({})",
             R"({"category": "vexa", "type": "subscribe"})",
             R"({"category": "vexa", "type": "subscribe", "payload": {"operationId": 1, "topics": []}})",
             R"({"category": "vexa", "type": "subscribe", "payload": {"operationId": "O-001", "topics": [1]}})",
             R"({"category": "zltMsg", "type": "subscribe", "payload": {"operationId": "O-001", "topics": []}})",
             R"({"category": "vexa", "type": "publish", "payload": {"operationId": "O-001", "topics": []}})",
         }) {
        EXPECT_FALSE(isSubscribeRequest(json(text))) << text;
        EXPECT_THROW(static_cast<void>(operationIdOf(json(text))), std::logic_error) << text;
        EXPECT_THROW(static_cast<void>(topicsOf(json(text))), std::logic_error) << text;
    }
}

} // namespace
} // namespace vexa::testing
