// Bytes as the texts of WebSocket frames, one a line, through one decoder: a frame is a message exactly when it is a
// JSON object within the limits, whatever came before it, and a message reads back as it was written.

#include <fuzz/Input.hpp>
#include <fuzz/Require.hpp>
#include <fuzz/Values.hpp>
#include <host/websocket/MessageDecoder.hpp>

#include <boost/json/parse.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace vexa::fuzz {

namespace {

using host::FrameFault;
using host::MessageDecoder;
using Decoded = std::variant<Message, FrameFault>;

constexpr host::MessageTextLimits limits{.bytes = 256, .depth = 6};

/// What Boost.JSON's own parser makes of a text; nothing when it is no JSON text or too deep.
std::optional<Value> parsed(std::string_view text, std::size_t depth)
{
    boost::json::parse_options options;
    options.max_depth = depth;
    boost::system::error_code error;
    Value value = boost::json::parse(boost::json::string_view{text.data(), text.size()}, error, {}, options);
    return error ? std::nullopt : std::optional<Value>{std::move(value)};
}

void checkFault(FrameFault fault, std::string_view text)
{
    const auto value = parsed(text, limits.depth);
    switch (fault) {
    case FrameFault::tooLarge:
        require(text.size() > limits.bytes);
        return;
    case FrameFault::notADictionary:
        require(value && !value->is_object());
        return;
    case FrameFault::tooDeep:
    case FrameFault::notJson:
        require(!value || !isFinite(*value));
        return;
    default:
        require(false);
    }
}

void checkMessage(const Message& message, std::string_view text)
{
    const auto value = parsed(text, limits.depth);
    require(value && value->is_object() && value->get_object().size() == message->size());
    boost::system::error_code error;
    const Dictionary again = host::readMessage(host::messageText(*message), error);
    require(!error && again == *message);
}

/// What has been copied out of a message outlives it.
void checkCopies(Message message)
{
    const std::string before = host::messageText(*message);
    Dictionary copies;
    for (const auto& entry : *message) {
        const Parameters inside(entry.value());
        copies.emplace(entry.key(), *ownCopy(inside));
    }
    message.reset();
    require(host::messageText(copies) == before);
}

void run(std::string_view input)
{
    MessageDecoder decoder{limits};
    while (!input.empty()) {
        const std::string_view text = takeLine(input);
        Decoded decoded = decoder.decode(text);
        const Decoded alone = MessageDecoder{limits}.decode(text);
        require(decoded.index() == alone.index());
        if (const auto* fault = std::get_if<FrameFault>(&decoded)) {
            require(*fault == std::get<FrameFault>(alone));
            checkFault(*fault, text);
        } else {
            Message& message = std::get<Message>(decoded);
            require(*message == *std::get<Message>(alone));
            checkMessage(message, text);
            checkCopies(std::move(message));
        }
    }
}

} // namespace

} // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    vexa::fuzz::run(vexa::fuzz::textOf(data, size));
    return 0;
}
