#pragma once

#include <host/tool/top/ServiceSample.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexa::host {

/// What a table of topics tells of each, from the left to the right.
enum class TopicColumn : std::uint8_t {
    name,
    subscribers,
    rate,
    delivered,
    replayed,
    median,
    percentile99,
    failed,
    timedOut,
    age
};

struct TopicColumnTraits {
    TopicColumn column;
    std::string_view word;    ///< which names it on the command line
    std::string_view heading; ///< no longer than the column is wide
    std::size_t width;        ///< in columns of the terminal; 0 for what the others leave
    std::string_view meaning;
};

inline constexpr std::array<TopicColumnTraits, 10> topicColumns{
    {{TopicColumn::name, "name", "topic", 0, "its name and parameters"},
     {TopicColumn::subscribers, "subscribers", "subs", 5, "subscriptions now"},
     {TopicColumn::rate, "rate", "new/s", 6, "new messages a second, over the last ten seconds"},
     {TopicColumn::delivered, "delivered", "deliv", 6, "messages sent to subscribers, counted once for each"},
     {TopicColumn::replayed, "replayed", "replay", 6, "those of them that came from the history"},
     {TopicColumn::median, "median", "median", 6, "delay that half of the reported deliveries do not exceed"},
     {TopicColumn::percentile99, "percentile99", "99 %", 6, "delay that 99 of 100 reported deliveries do not exceed"},
     {TopicColumn::failed, "failed", "failed", 6, "subscriptions that clients reported as refused"},
     {TopicColumn::timedOut, "timed-out", "late", 5, "subscriptions that clients reported as not answered in time"},
     {TopicColumn::age, "age", "age", 5, "time since the newest message"}}};

[[nodiscard]] const TopicColumnTraits& traitsOf(TopicColumn column) noexcept;

/// The words of all columns.
[[nodiscard]] std::vector<std::string> topicColumnWords();

/// The column of a word; nothing when there is none.
[[nodiscard]] std::optional<TopicColumn> topicColumnNamed(std::string_view word) noexcept;

/// What orders the topics of a table.
struct TopicOrder {
    TopicColumn column = TopicColumn::rate;
    bool isReversed = false;
};

/// Puts the topics in order: names from A on, the newest messages and the largest figures first, the reverse of that
/// when the order is reversed. Topics without a figure come last in either; those that are equal are ordered by their
/// names and parameters.
void sortTopics(std::vector<const TopicSample*>& topics, const TopicOrder& order);

/// The name of a topic and its parameters as people read them: scores {"id":4}
[[nodiscard]] std::string titleOf(const TopicSample& topic);

/// A figure of a topic in a column other than that of the name. `now` is the service's time, in seconds since 1970.
[[nodiscard]] std::string figureOf(const TopicSample& topic, TopicColumn column, double now);

} // namespace vexa::host
