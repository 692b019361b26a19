#include <bench/roads/shared/FeedFrames.hpp>

#include <numeric>
#include <stdexcept>
#include <string_view>

namespace vexa::bench {

namespace {

constexpr std::size_t bitsPerByte = 8;
constexpr std::size_t byteMask = 0xff;

/// The bytes of a number, the highest first.
std::string bigEndian(std::size_t number, std::size_t bytes)
{
    std::string text;
    for (std::size_t byte = bytes; byte-- > 0;) {
        text += static_cast<char>((number >> (byte * bitsPerByte)) & byteMask);
    }
    return text;
}

std::string webSocketHeader(std::size_t payload)
{
    constexpr char finalText = static_cast<char>(0x81);
    constexpr std::size_t longestInOneByte = 125;
    constexpr std::size_t longestInTwoBytes = 0xffff;
    constexpr char inTwoBytes = 126;
    constexpr char inEightBytes = 127;
    if (payload <= longestInOneByte) {
        return std::string{finalText} + static_cast<char>(payload);
    }
    if (payload <= longestInTwoBytes) {
        return std::string{finalText} + inTwoBytes + bigEndian(payload, 2);
    }
    return std::string{finalText} + inEightBytes + bigEndian(payload, sizeof(std::uint64_t));
}

void append(FeedFrame& frame, const MessageText& message)
{
    frame.timesAt.push_back(frame.text.size() + message.timeAt);
    frame.text += message.text;
}

/// One frame for each topic, in which the message stands between the two texts that `around` gives for its name.
template <class Around>
std::vector<FeedFrame> framesOfOne(std::size_t topics, Around around)
{
    std::vector<FeedFrame> frames(topics);
    for (std::size_t topic = 0; topic < topics; ++topic) {
        const auto [beginning, ending] = around(topicName(topic));
        frames[topic].text = beginning;
        append(frames[topic], messageOf(topic));
        frames[topic].text += ending;
    }
    return frames;
}

struct Surroundings {
    std::string beginning;
    std::string ending;
};

} // namespace

std::vector<FeedFrame> webSocketFrames(std::size_t topics, std::size_t batch)
{
    constexpr std::string_view beginning =
        R"({"category":"vexa","type":"data","sentAt":1700000000.123456,"messages":[)";
    constexpr std::string_view ending = "]}";
    const std::size_t size = beginning.size() + batch * (messageBytes + 1) - 1 + ending.size();
    std::vector<FeedFrame> frames(topics / std::gcd(topics, batch));
    std::size_t topic = 0;
    for (FeedFrame& frame : frames) {
        frame.text = webSocketHeader(size).append(beginning);
        for (std::size_t entry = 0; entry < batch; ++entry) {
            frame.text += entry > 0 ? "," : "";
            append(frame, messageOf(topic));
            topic = (topic + 1) % topics;
        }
        frame.text += ending;
    }
    return frames;
}

std::vector<FeedFrame> redisFrames(std::size_t topics)
{
    return framesOfOne(topics, [](const std::string& name) {
        return Surroundings{"*3\r\n$7\r\nPUBLISH\r\n$" + std::to_string(name.size()) + "\r\n" + name + "\r\n$" +
                                std::to_string(messageBytes) + "\r\n",
                            "\r\n"};
    });
}

std::vector<FeedFrame> natsFrames(std::size_t topics)
{
    return framesOfOne(topics, [](const std::string& name) {
        return Surroundings{"PUB " + name + " " + std::to_string(messageBytes) + "\r\n", "\r\n"};
    });
}

std::vector<FeedFrame> mqttFrames(std::size_t topics)
{
    constexpr char publish = 0x30;
    constexpr std::size_t lowBits = 0x7f;
    constexpr std::size_t bitsOfLength = 7;
    constexpr std::size_t moreFollow = 0x80;
    return framesOfOne(topics, [](const std::string& name) {
        const std::size_t length = 2 + name.size() + messageBytes;
        if (length > ((lowBits << bitsOfLength) | lowBits)) {
            throw std::logic_error{"a packet is longer than its two bytes of length can say"};
        }
        std::string beginning{publish};
        beginning += static_cast<char>((length & lowBits) | moreFollow);
        beginning += static_cast<char>(length >> bitsOfLength);
        return Surroundings{beginning + bigEndian(name.size(), 2) + name, ""};
    });
}

} // namespace vexa::bench
