#include <bench/roads/shared/TopicTexts.hpp>

#include <stdexcept>
#include <string_view>

namespace vexa::bench {

namespace {

constexpr std::size_t numberDigits = 7;

/// The first time; all have ten digits before the point.
constexpr std::uint64_t firstSecond = 1'700'000'000;
constexpr std::size_t secondDigits = 10;
constexpr std::size_t microsecondDigits = 6;
constexpr std::uint64_t microsecondsPerSecond = 1'000'000;

void writeDigits(char* at, std::size_t count, std::uint64_t number) noexcept
{
    constexpr std::uint64_t base = 10;
    for (std::size_t digit = count; digit-- > 0; number /= base) {
        at[digit] = static_cast<char>('0' + number % base);
    }
}

std::string numbered(std::string beginning, std::size_t number)
{
    std::string digits(numberDigits, '0');
    writeDigits(digits.data(), digits.size(), number);
    return beginning + digits;
}

} // namespace

std::string topicName(std::size_t topic)
{
    return numbered("topic-", topic);
}

std::string subscriptionId(std::size_t topic)
{
    return numbered("s-", topic);
}

MessageText messageOf(std::size_t topic)
{
    constexpr std::string_view ending = R"("}})";
    MessageText message;
    message.text = R"({"subscriptionId":")" + subscriptionId(topic) + R"(","payload":{"updatedAt":)";
    message.timeAt = message.text.size();
    message.text.append(timeCharacters, '0');
    message.text +=
        R"(,"player":"a name of some length","score":123456,"position":[12.5,88.25,3.0],"gold":12,"text":")";
    const std::size_t taken = message.text.size() + ending.size();
    if (taken > messageBytes) {
        throw std::logic_error{"a message has no room for its text"};
    }
    message.text.append(messageBytes - taken, 'x').append(ending);
    writeTime(message.text.data() + message.timeAt, 0);
    return message;
}

void writeTime(char* at, std::uint64_t number) noexcept
{
    writeDigits(at, secondDigits, firstSecond + number / microsecondsPerSecond);
    at[secondDigits] = '.';
    writeDigits(at + secondDigits + 1, microsecondDigits, number % microsecondsPerSecond);
}

} // namespace vexa::bench
