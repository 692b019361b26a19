#include "ServerUnderTest.hpp"
#include <host/server/JsonPages.hpp>

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace vexa::host {
namespace {

TopicFigures topicNamed(const std::string& name, double rate, std::uint64_t subscribers)
{
    TopicFigures topic;
    topic.name = name;
    topic.messagesPerSecond = rate;
    topic.subscribers = subscribers;
    return topic;
}

std::vector<std::string> namesIn(const std::string& page)
{
    std::vector<std::string> names;
    const Dictionary content = json(page);
    for (const Value& each : content.at("topics").as_array()) {
        names.emplace_back(each.at("name").as_string().c_str());
    }
    return names;
}

TEST(Pages, ShowTheBusiestTopicsFirst)
{
    const std::vector<TopicFigures> topics{topicNamed("quiet", 0, 0), topicNamed("b", 0, 5), topicNamed("a", 0, 5),
                                           topicNamed("busy", 100, 1)};
    EXPECT_EQ(namesIn(topicsPage({}, topics, std::nullopt)), (std::vector<std::string>{"busy", "a", "b", "quiet"}));
    EXPECT_EQ(namesIn(topicsPage({}, topics, 2)), (std::vector<std::string>{"busy", "a"}));
    EXPECT_EQ(json(topicsPage({}, topics, 0)).at("topicCount"), 4);
    EXPECT_EQ(namesIn(topicsPage({}, topics, 100)).size(), 4U);
}

TEST(Pages, LeaveOutWhatThereIsNot)
{
    TopicFigures topic = topicNamed("scores", 0, 0);
    const Dictionary bare = json(topicsPage({}, {topic}, std::nullopt)).at("topics").at(0).as_object();
    EXPECT_FALSE(bare.contains("parameters"));
    EXPECT_FALSE(bare.contains("newestAt"));
    EXPECT_FALSE(bare.contains("delay"));

    topic.parameters = Value(nullptr);
    topic.newestAt = 5;
    topic.delay.count = 1;
    const Dictionary whole = json(topicsPage({}, {topic}, std::nullopt)).at("topics").at(0).as_object();
    EXPECT_TRUE(whole.at("parameters").is_null());
    EXPECT_EQ(whole.at("newestAt"), 5.0);
    EXPECT_EQ(whole.at("delay").at("count"), 1);
}

TEST(Pages, ShowRecordsInOrder)
{
    std::vector<ServerLogRecord> records;
    records.push_back({"vexa", 0, json(R"({"n":1})"), 10.5});
    records.push_back({"other", -3, json("{}"), 11});
    const Dictionary page = json(recordsPage(std::move(records)));
    EXPECT_EQ(page, json(R"({"records":[{"receivedAt":10.5,"category":"vexa","severity":0,"blob":{"n":1}},
                                        {"receivedAt":11.0,"category":"other","severity":-3,"blob":{}}]})"));
}

} // namespace
} // namespace vexa::host
