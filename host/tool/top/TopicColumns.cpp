#include <host/tool/top/ShortNumbers.hpp>
#include <host/tool/top/TopicColumns.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <utility>

namespace vexa::host {

namespace {

/// What topics are ordered by, the largest first; nothing when the topic has no such figure.
std::optional<double> weightOf(const TopicSample& topic, TopicColumn column)
{
    switch (column) {
    case TopicColumn::name:
        return 0;
    case TopicColumn::subscribers:
        return static_cast<double>(topic.subscribers);
    case TopicColumn::rate:
        return topic.messagesPerSecond;
    case TopicColumn::delivered:
        return static_cast<double>(topic.delivered);
    case TopicColumn::replayed:
        return static_cast<double>(topic.replayed);
    case TopicColumn::median:
        return topic.medianDelay;
    case TopicColumn::percentile99:
        return topic.percentile99Delay;
    case TopicColumn::failed:
        return static_cast<double>(topic.failedSubscriptions);
    case TopicColumn::timedOut:
        return static_cast<double>(topic.timedOutSubscriptions);
    case TopicColumn::age:
        return topic.newestAt;
    }
    return std::nullopt;
}

struct Weighed {
    std::optional<double> weight;
    std::string title;
    const TopicSample* topic;
};

} // namespace

const TopicColumnTraits& traitsOf(TopicColumn column) noexcept
{
    return topicColumns[static_cast<std::size_t>(column)];
}

std::vector<std::string> topicColumnWords()
{
    std::vector<std::string> words;
    for (const TopicColumnTraits& each : topicColumns) {
        words.emplace_back(each.word);
    }
    return words;
}

std::optional<TopicColumn> topicColumnNamed(std::string_view word) noexcept
{
    for (const TopicColumnTraits& each : topicColumns) {
        if (each.word == word) {
            return each.column;
        }
    }
    return std::nullopt;
}

void sortTopics(std::vector<const TopicSample*>& topics, const TopicOrder& order)
{
    std::vector<Weighed> weighed;
    weighed.reserve(topics.size());
    for (const TopicSample* const topic : topics) {
        weighed.push_back({weightOf(*topic, order.column), titleOf(*topic), topic});
    }
    const bool areNamesReversed = order.isReversed && order.column == TopicColumn::name;
    std::sort(weighed.begin(), weighed.end(), [&](const Weighed& one, const Weighed& other) {
        if (one.weight.has_value() != other.weight.has_value()) {
            return one.weight.has_value();
        }
        if (one.weight != other.weight) {
            return (*one.weight > *other.weight) != order.isReversed;
        }
        return areNamesReversed ? one.title > other.title : one.title < other.title;
    });
    for (std::size_t place = 0; place < weighed.size(); ++place) {
        topics[place] = weighed[place].topic;
    }
}

std::string titleOf(const TopicSample& topic)
{
    return topic.parameters ? topic.name + " " + boost::json::serialize(*topic.parameters) : topic.name;
}

std::string figureOf(const TopicSample& topic, TopicColumn column, double now)
{
    switch (column) {
    case TopicColumn::name:
        return titleOf(topic);
    case TopicColumn::subscribers:
        return shortCount(topic.subscribers);
    case TopicColumn::rate:
        return shortRate(topic.messagesPerSecond);
    case TopicColumn::delivered:
        return shortCount(topic.delivered);
    case TopicColumn::replayed:
        return shortCount(topic.replayed);
    case TopicColumn::median:
        return shortDelay(topic.medianDelay);
    case TopicColumn::percentile99:
        return shortDelay(topic.percentile99Delay);
    case TopicColumn::failed:
        return shortCount(topic.failedSubscriptions);
    case TopicColumn::timedOut:
        return shortCount(topic.timedOutSubscriptions);
    case TopicColumn::age:
        return shortAge(topic.newestAt ? std::optional{now - *topic.newestAt} : std::nullopt);
    }
    return {};
}

} // namespace vexa::host
