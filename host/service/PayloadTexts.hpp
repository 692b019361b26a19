#pragma once

#include <host/service/DataBatch.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstddef>
#include <memory>
#include <vector>

namespace vexa::host {

/// The texts of the payloads that were sent last, so that a message for a thousand subscribers is written once.
///
/// It remembers them by the identity of the message, whose dictionary it does not keep alive, in a table in which a new
/// one takes the place of an older one. For one thread at a time.
class PayloadTexts {
public:
    /// \param atMostBytes  of text that is kept; more than that clears the table.
    explicit PayloadTexts(std::size_t atMostBytes = std::size_t{8} * 1024 * 1024) noexcept : atMostBytes_{atMostBytes}
    {}

    /// The text of a payload, which must not be null.
    [[nodiscard]] std::shared_ptr<const PayloadText> textOf(const Message& payload);

    /// How many texts had to be written.
    [[nodiscard]] std::size_t written() const noexcept { return written_; }

private:
    struct Place {
        const Dictionary* address = nullptr;
        std::weak_ptr<const Dictionary> message; ///< holds the address, so that no later message can have it
        std::shared_ptr<const PayloadText> text;
    };

    static constexpr std::size_t placeCount = 2048; ///< a power of two

    std::size_t atMostBytes_;
    std::size_t bytes_ = 0;
    std::size_t written_ = 0;
    std::vector<Place> places_; ///< empty until the first text
};

} // namespace vexa::host
