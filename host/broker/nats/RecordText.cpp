#include <host/broker/nats/RecordText.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/JsonReaders.hpp>
#include <VexaClient/platform/Text.hpp>

#include <boost/json/serialize.hpp>

#include <limits>
#include <utility>

namespace vexa::host {

namespace {

/// The depth of payloads is the service's to limit; a record only has to give back what was stored.
constexpr MessageTextLimits recordLimits{std::numeric_limits<std::size_t>::max(), 1'000};

std::optional<std::int64_t> wholeNumberAt(const Dictionary& dictionary, std::string_view key)
{
    const Value* const value = dictionary.if_contains(boost::json::string_view{key.data(), key.size()});
    if (value == nullptr || !value->is_int64() || value->get_int64() < 0) {
        return std::nullopt;
    }
    return value->get_int64();
}

/// A time in microseconds since 1970. Beyond 2^33 seconds, in the year 2242, a double cannot tell one from the next.
std::optional<std::int64_t> microsecondAt(const Dictionary& dictionary, std::string_view key)
{
    constexpr std::int64_t latest = 8'000'000'000'000'000;
    const auto microsecond = wholeNumberAt(dictionary, key);
    return microsecond <= latest ? microsecond : std::nullopt;
}

std::optional<TopicState> stateIn(const Dictionary& dictionary)
{
    const auto sequence = wholeNumberAt(dictionary, "sequence");
    const auto lastMicrosecond = microsecondAt(dictionary, "microsecond");
    const auto formerLivesUntil = microsecondAt(dictionary, "formerLivesUntil");
    const auto hasEnded = boolAt(dictionary, "hasEnded");
    if (!sequence || !lastMicrosecond || !formerLivesUntil || !hasEnded || *formerLivesUntil > *lastMicrosecond) {
        return std::nullopt;
    }
    return TopicState{static_cast<std::uint64_t>(*sequence), *lastMicrosecond, *formerLivesUntil, *hasEnded};
}

} // namespace

std::string payloadTexts(const std::vector<Dictionary>& payloads)
{
    std::string text;
    for (const Dictionary& payload : payloads) {
        if (!text.empty()) {
            text += ',';
        }
        text += messageText(payload);
    }
    return text;
}

std::string recordText(std::string_view topic, std::int64_t microsecond, const TopicState& base,
                       std::string_view payloads)
{
    return joined({R"({"topic":)", boost::json::serialize(boost::json::string_view{topic.data(), topic.size()}),
                   R"(,"microsecond":)", decimal(microsecond), R"(,"base":{"sequence":)",
                   decimal(static_cast<std::int64_t>(base.sequence)), R"(,"microsecond":)",
                   decimal(base.lastMicrosecond), R"(,"formerLivesUntil":)", decimal(base.formerLivesUntil),
                   R"(,"hasEnded":)", base.hasEnded ? "true" : "false", R"(},"payloads":[)", payloads, "]}"});
}

std::size_t recordOverhead(std::string_view topic) noexcept
{
    constexpr std::size_t namesAndNumbers = 256;
    constexpr std::size_t longestEscape = 6;
    return namesAndNumbers + topic.size() * longestEscape;
}

std::optional<TopicRecord> readRecord(std::string_view text, std::uint64_t sequence)
{
    boost::system::error_code error;
    Dictionary content = readMessage(text, error, recordLimits);
    if (error) {
        return std::nullopt;
    }
    const auto microsecond = microsecondAt(content, "microsecond");
    const Dictionary* const base = dictionaryAt(content, "base");
    const auto baseState = base != nullptr ? stateIn(*base) : std::nullopt;
    if (!microsecond || !baseState || dictionariesAt(content, "payloads") == nullptr) {
        return std::nullopt;
    }
    TopicRecord record{sequence, *microsecond, *baseState, {}};
    if (record.base.sequence >= sequence) {
        // The stream was made anew, or lost its end, since its publisher looked: the times go on, the sequences do not.
        record.base.sequence = 0;
    }
    List& payloads = content["payloads"].get_array();
    record.payloads.reserve(payloads.size());
    for (Value& payload : payloads) {
        record.payloads.push_back(std::move(payload.get_object()));
    }
    return record;
}

TopicRecord recordOrNothing(std::string_view text, std::uint64_t sequence)
{
    return readRecord(text, sequence).value_or(TopicRecord{sequence, 0, {}, {}});
}

} // namespace vexa::host
