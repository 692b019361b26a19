#include <host/tool/display/StyledLine.hpp>
#include <VexaClient/platform/Text.hpp>

#include <algorithm>

namespace vexa::host {

namespace {

constexpr std::string_view reset = "\x1b[0m";

std::string_view codeOf(Colour colour) noexcept
{
    switch (colour) {
    case Colour::plain:
        return "";
    case Colour::bold:
        return "\x1b[1m";
    case Colour::dim:
        return "\x1b[2m";
    case Colour::red:
        return "\x1b[31m";
    case Colour::green:
        return "\x1b[32m";
    case Colour::yellow:
        return "\x1b[33m";
    case Colour::blue:
        return "\x1b[34m";
    case Colour::cyan:
        return "\x1b[36m";
    }
    return "";
}

/// Whether a byte begins a character of UTF-8, instead of going on with one.
bool beginsCharacter(char byte) noexcept
{
    return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
}

} // namespace

StyledLine& StyledLine::add(std::string_view text, Colour colour)
{
    const std::string safe = escapeControlCharacters(text);
    const std::string_view shown = cutTo(safe, columnsLeft());
    if (shown.empty()) {
        return *this;
    }
    used_ += columnsOf(shown);
    const bool isStyled = hasColour_ && colour != Colour::plain;
    text_ += joined({isStyled ? codeOf(colour) : "", shown, isStyled ? reset : ""});
    return *this;
}

StyledLine& StyledLine::addLeft(std::string_view text, std::size_t columns, Colour colour)
{
    const std::string_view shown = cutTo(text, columns);
    add(shown, colour);
    return add(std::string(columns - columnsOf(shown), ' '));
}

StyledLine& StyledLine::addRight(std::string_view text, std::size_t columns, Colour colour)
{
    const std::string_view shown = cutTo(text, columns);
    add(std::string(columns - columnsOf(shown), ' '));
    return add(shown, colour);
}

StyledLine& StyledLine::fillTo(std::size_t column)
{
    return add(std::string(column > used_ ? column - used_ : 0, ' '));
}

std::size_t columnsOf(std::string_view text) noexcept
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), beginsCharacter));
}

std::string_view cutTo(std::string_view text, std::size_t columns) noexcept
{
    std::size_t seen = 0;
    for (std::size_t position = 0; position < text.size(); ++position) {
        if (beginsCharacter(text[position]) && seen++ == columns) {
            return text.substr(0, position);
        }
    }
    return text;
}

} // namespace vexa::host
