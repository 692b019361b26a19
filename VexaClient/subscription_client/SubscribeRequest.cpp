#include <VexaClient/subscription_client/SubscribeRequest.hpp>

#include <boost/json/serializer.hpp>

#include <array>

namespace vexa {

namespace {

/// What the system's log takes in one line.
constexpr std::size_t longestRendering = 2048;

/// Takes away the last character of UTF-8 text that was cut off after some byte: it may lack its end.
void dropPartialCharacter(std::string& text)
{
    const auto isContinuation = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U; };
    while (!text.empty() && isContinuation(text.back())) {
        text.pop_back();
    }
    if (!text.empty()) {
        text.pop_back();
    }
}

} // namespace

Dictionary subscribeRequest(std::string_view operationId, const std::vector<TopicSubscription>& topics)
{
    List descriptions;
    descriptions.reserve(topics.size());
    for (const TopicSubscription& topic : topics) {
        descriptions.emplace_back(topic.asDictionary());
    }
    Dictionary payload;
    payload.reserve(2);
    payload.emplace("operationId", operationId);
    payload.emplace("topics", std::move(descriptions));

    Dictionary request;
    request.reserve(3);
    request.emplace("category", "vexa");
    request.emplace("type", "subscribe");
    request.emplace("payload", std::move(payload));
    return request;
}

std::string requestRendering(const Dictionary& request)
{
    std::array<char, longestRendering> buffer{};
    boost::json::serializer serializer;
    serializer.reset(&request);
    const boost::json::string_view read = serializer.read(buffer.data(), buffer.size());
    std::string rendering{read.data(), read.size()};
    if (!serializer.done()) {
        dropPartialCharacter(rendering);
        rendering += "…";
    }
    return rendering;
}

} // namespace vexa
