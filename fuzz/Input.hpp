#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vexa::fuzz {

/// A fuzzer's input as text.
[[nodiscard]] inline std::string_view textOf(const std::uint8_t* data, std::size_t size) noexcept
{
    return {reinterpret_cast<const char*>(data), size}; // NOLINT(*-reinterpret-cast): libFuzzer hands over bytes
}

/// Takes the first line off `input`, without the line feed that ends it. What follows the last line feed is a line too.
[[nodiscard]] inline std::string_view takeLine(std::string_view& input) noexcept
{
    const std::size_t end = input.find('\n');
    const std::string_view line = input.substr(0, end);
    input.remove_prefix(end == std::string_view::npos ? input.size() : end + 1);
    return line;
}

/// Choices that the input makes, one byte each. One that is used up goes on choosing the first of all there is.
class Choices {
public:
    explicit Choices(std::string_view bytes) noexcept : bytes_{bytes} {}

    /// A number below `bound`, which must be greater than 0.
    [[nodiscard]] std::size_t below(std::size_t bound) noexcept
    {
        if (bytes_.empty()) {
            return 0;
        }
        const auto byte = static_cast<unsigned char>(bytes_.front());
        bytes_.remove_prefix(1);
        return byte % bound;
    }

private:
    std::string_view bytes_;
};

} // namespace vexa::fuzz
