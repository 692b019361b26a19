#pragma once

#include <host/websocket/FrameFault.hpp>
#include <host/wire/MessageText.hpp>
#include <VexaClient/platform/Json.hpp>

#include <string_view>
#include <variant>

namespace vexa::host {

/// Turns the texts of frames into messages. For one thread at a time.
///
/// All that a message holds lies in memory of its own, which is taken in few pieces and given back in one, without a
/// walk through the values. The memory belongs to the message alone: whoever copies a value out of it must copy into
/// other memory, as ownCopy() does, since a plain copy would live in the memory of the message.
class MessageDecoder {
public:
    explicit MessageDecoder(const MessageTextLimits& limits) : limits_{limits}, reader_{limits} {}

    /// The message in `text`, or why there is none.
    [[nodiscard]] std::variant<Message, FrameFault> decode(std::string_view text);

private:
    MessageTextLimits limits_;
    MessageReader reader_;
};

} // namespace vexa::host
