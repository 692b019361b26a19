#include <host/tool/top/ShortNumbers.hpp>
#include <host/tool/top/TopicColumns.hpp>

#include <boost/json/parse.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {
namespace {

std::vector<std::string> namesIn(const std::vector<const TopicSample*>& topics)
{
    std::vector<std::string> names;
    for (const TopicSample* const each : topics) {
        names.push_back(titleOf(*each));
    }
    return names;
}

std::vector<std::string> sorted(const std::vector<TopicSample>& topics, const TopicOrder& order)
{
    std::vector<const TopicSample*> pointers;
    for (const TopicSample& each : topics) {
        pointers.push_back(&each);
    }
    sortTopics(pointers, order);
    return namesIn(pointers);
}

TopicSample topic(const std::string& name)
{
    TopicSample made;
    made.name = name;
    return made;
}

using Names = std::vector<std::string>;

TEST(TopicOrder, putsTheLargestFirstAndEqualOnesByName)
{
    std::vector<TopicSample> topics{topic("c"), topic("b"), topic("a")};
    topics[0].messagesPerSecond = 1;
    topics[1].messagesPerSecond = 5;
    topics[2].messagesPerSecond = 1;
    EXPECT_EQ(sorted(topics, {TopicColumn::rate, false}), (Names{"b", "a", "c"}));
    EXPECT_EQ(sorted(topics, {TopicColumn::rate, true}), (Names{"a", "c", "b"}));
    EXPECT_EQ(sorted(topics, {TopicColumn::name, false}), (Names{"a", "b", "c"}));
    EXPECT_EQ(sorted(topics, {TopicColumn::name, true}), (Names{"c", "b", "a"}));
}

TEST(TopicOrder, putsTopicsWithoutAFigureLast)
{
    std::vector<TopicSample> topics{topic("none"), topic("slow"), topic("fast")};
    topics[1].medianDelay = 2;
    topics[2].medianDelay = 0.1;
    EXPECT_EQ(sorted(topics, {TopicColumn::median, false}), (Names{"slow", "fast", "none"}));
    EXPECT_EQ(sorted(topics, {TopicColumn::median, true}), (Names{"fast", "slow", "none"}));
}

TEST(TopicOrder, knowsEveryColumn)
{
    TopicSample most = topic("most");
    most.subscribers = most.delivered = most.replayed = 9;
    most.failedSubscriptions = most.timedOutSubscriptions = 9;
    most.messagesPerSecond = 9;
    most.medianDelay = most.percentile99Delay = most.newestAt = 9;
    TopicSample less = topic("less");
    less.subscribers = less.delivered = less.replayed = 2;
    less.failedSubscriptions = less.timedOutSubscriptions = 2;
    less.messagesPerSecond = 2;
    less.medianDelay = less.percentile99Delay = less.newestAt = 2;
    for (const TopicColumnTraits& each : topicColumns) {
        const std::string first = each.column == TopicColumn::name ? "less" : "most";
        EXPECT_EQ(sorted({less, most}, {each.column, false}).front(), first) << each.word;
        EXPECT_EQ(topicColumnNamed(each.word), each.column);
        EXPECT_EQ(traitsOf(each.column).word, each.word);
        EXPECT_TRUE(each.width == 0 || each.heading.size() <= each.width) << each.word;
        EXPECT_EQ(std::ranges::count(topicColumnWords(), std::string{each.word}), 1);
    }
    EXPECT_EQ(topicColumnNamed("colour"), std::nullopt);
}

TEST(TopicFigures, areShort)
{
    TopicSample shown = topic("t");
    EXPECT_EQ(titleOf(shown), "t");
    shown.parameters = boost::json::parse(R"({"id":4})");
    EXPECT_EQ(titleOf(shown), R"(t {"id":4})");
    shown.newestAt = 100;
    shown.percentile99Delay = 0.25;
    shown.delivered = 1234567;
    EXPECT_EQ(figureOf(shown, TopicColumn::age, 190), "1m");
    EXPECT_EQ(figureOf(shown, TopicColumn::median, 190), "-");
    EXPECT_EQ(figureOf(shown, TopicColumn::percentile99, 190), "250ms");
    EXPECT_EQ(figureOf(shown, TopicColumn::delivered, 190), "1.2M");
    EXPECT_EQ(figureOf(shown, TopicColumn::subscribers, 190), "0");
}

TEST(ShortNumbers, keepToTheirColumns)
{
    EXPECT_EQ(shortCount(0), "0");
    EXPECT_EQ(shortCount(99999), "99999");
    EXPECT_EQ(shortCount(100000), "100k");
    EXPECT_EQ(shortCount(999499), "999k");
    EXPECT_EQ(shortCount(999500), "1.0M");
    EXPECT_EQ(shortCount(18446744073709551615U), "18E");
    EXPECT_EQ(shortRate(0), "0");
    EXPECT_EQ(shortRate(0.01), "0.1");
    EXPECT_EQ(shortRate(12.34), "12.3");
    EXPECT_EQ(shortRate(123.4), "123");
    EXPECT_EQ(shortRate(250000), "250k");
    EXPECT_EQ(shortBytes(512), "512 B");
    EXPECT_EQ(shortBytes(23400000), "23.4 MB");
    EXPECT_EQ(shortBytes(999999), "1.0 MB");
}

TEST(ShortNumbers, tellTimesInTheirUnits)
{
    EXPECT_EQ(shortDelay(std::nullopt), "-");
    EXPECT_EQ(shortDelay(0.0004), "0.4ms");
    EXPECT_EQ(shortDelay(-0.0012), "-1.2ms");
    EXPECT_EQ(shortDelay(0.012), "12ms");
    EXPECT_EQ(shortDelay(0.9999), "1.0s");
    EXPECT_EQ(shortDelay(1.5), "1.5s");
    EXPECT_EQ(shortDelay(123), "123s");
    EXPECT_EQ(shortAge(std::nullopt), "-");
    EXPECT_EQ(shortAge(-3), "0s");
    EXPECT_EQ(shortAge(59.9), "59s");
    EXPECT_EQ(shortAge(3599), "59m");
    EXPECT_EQ(shortAge(86399), "23h");
    EXPECT_EQ(shortAge(86400), "1d");
    EXPECT_EQ(spanText(4), "4 s");
    EXPECT_EQ(spanText(184), "3 min 4 s");
    EXPECT_EQ(spanText(7380), "2 h 3 min");
    EXPECT_EQ(spanText(788400), "9 d 3 h");
}

} // namespace
} // namespace vexa::host
