#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace vexa::host {

enum class Colour : std::uint8_t { plain, bold, dim, red, green, yellow, blue, cyan };

/// A line of text for a terminal that never grows beyond a width: what would is cut off. Every character counts as one
/// column; control characters are escaped.
class StyledLine {
public:
    StyledLine(std::size_t width, bool hasColour) noexcept : width_{width}, hasColour_{hasColour} {}

    StyledLine& add(std::string_view text, Colour colour = Colour::plain);

    /// Adds a text in a column of its own: cut or filled with blanks to `columns`, at the right for numbers.
    StyledLine& addLeft(std::string_view text, std::size_t columns, Colour colour = Colour::plain);
    StyledLine& addRight(std::string_view text, std::size_t columns, Colour colour = Colour::plain);

    /// Adds blanks up to a column.
    StyledLine& fillTo(std::size_t column);

    [[nodiscard]] std::size_t columnsUsed() const noexcept { return used_; }
    [[nodiscard]] std::size_t columnsLeft() const noexcept { return width_ - used_; }

    /// The line with its colours, without an end of line.
    [[nodiscard]] const std::string& text() const noexcept { return text_; }

private:
    std::size_t width_;
    bool hasColour_;
    std::size_t used_ = 0;
    std::string text_;
};

/// How many columns a text takes, by the rule of StyledLine.
[[nodiscard]] std::size_t columnsOf(std::string_view text) noexcept;

/// The beginning of a text that takes up to `columns` columns.
[[nodiscard]] std::string_view cutTo(std::string_view text, std::size_t columns) noexcept;

} // namespace vexa::host
