#include <host/websocket/MessageDecoder.hpp>

#include <boost/json/error.hpp>
#include <boost/json/monotonic_resource.hpp>

#include <array>
#include <cstddef>
#include <memory>
#include <utility>

namespace vexa::host {

namespace {

/// A message and its memory, the first piece of which, enough for most messages, is part of the same allocation.
struct OwnedMessage {
    std::array<unsigned char, 1024> firstPiece;
    boost::json::monotonic_resource memory{firstPiece.data(), firstPiece.size()};
    Dictionary dictionary = Dictionary(boost::json::storage_ptr(&memory));
};

FrameFault faultOf(const boost::system::error_code& error) noexcept
{
    if (error == boost::json::error::too_deep) {
        return FrameFault::tooDeep;
    }
    return error == boost::json::error::not_object ? FrameFault::notADictionary : FrameFault::notJson;
}

} // namespace

std::variant<Message, FrameFault> MessageDecoder::decode(std::string_view text)
{
    if (text.size() > limits_.bytes) {
        return FrameFault::tooLarge;
    }
    // Not make_shared, which would clear the first piece.
    auto owned = std::make_shared_for_overwrite<OwnedMessage>();
    boost::system::error_code error;
    owned->dictionary = reader_.read(text, error, &owned->memory);
    if (error) {
        return faultOf(error);
    }
    const Dictionary* dictionary = &owned->dictionary;
    return Message{std::move(owned), dictionary};
}

} // namespace vexa::host
