#pragma once

#include <VexaClient/platform/Json.hpp>

#include <boost/json/storage_ptr.hpp>
#include <boost/system/error_code.hpp>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

/// Transport messages as they stand on the wire: one JSON text each (RFC 8259), in UTF-8.
namespace vexa::host {

/// What a text may hold. A text beyond one of these is refused, not cut.
struct MessageTextLimits {
    std::size_t bytes = std::size_t{16} * 1024 * 1024; ///< of the whole text
    std::size_t depth = 64;                            ///< of lists and dictionaries within each other
};

/// The compact JSON text of a message. Every number reads back as the same number.
[[nodiscard]] std::string messageText(const Dictionary& message);

/// The message that a JSON text holds; an empty dictionary and an `error` when it holds none.
///
/// A number with a fraction or an exponent becomes the double next to it, never a neighbour of that one: times travel
/// to the service and back, and a time that came back changed would repeat or skip a message. (The parser of Boost.JSON
/// 1.81 reads one such number in eight inexactly.)
[[nodiscard]] Dictionary readMessage(std::string_view text, boost::system::error_code& error,
                                     const MessageTextLimits& limits = {});

/// The value of any kind that a JSON text holds, read as readMessage() reads; null and an `error` when it holds none.
[[nodiscard]] Value readValue(std::string_view text, boost::system::error_code& error,
                              const MessageTextLimits& limits = {});

/// Reads many texts, one after the other, and keeps its working memory between them. For one thread at a time.
class MessageReader {
public:
    explicit MessageReader(const MessageTextLimits& limits = {});
    ~MessageReader();
    MessageReader(const MessageReader&) = delete;
    MessageReader& operator=(const MessageReader&) = delete;

    /// As readMessage(), with what the message holds in memory of `storage`.
    [[nodiscard]] Dictionary read(std::string_view text, boost::system::error_code& error,
                                  boost::json::storage_ptr storage = {});

    /// As readValue(), with what the value holds in memory of `storage`.
    [[nodiscard]] Value readValue(std::string_view text, boost::system::error_code& error,
                                  boost::json::storage_ptr storage = {});

private:
    class Parser;

    MessageTextLimits limits_;
    std::unique_ptr<Parser> parser_;
};

} // namespace vexa::host
