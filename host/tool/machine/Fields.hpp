#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>
#include <vector>

/// How the text of a kernel file is taken apart.
namespace vexa::host {

/// The lines of a text, without their ends.
[[nodiscard]] std::vector<std::string_view> linesOf(std::string_view text);

/// What stands between the blanks of a line.
[[nodiscard]] std::vector<std::string_view> fieldsOf(std::string_view line);

/// The whole of a field as a number; nothing when it is none, or one that does not fit.
template <class Number>
[[nodiscard]] std::optional<Number> numberIn(std::string_view field)
{
    Number number{};
    const char* const end = field.data() + field.size();
    const auto read = std::from_chars(field.data(), end, number);
    return read.ec == std::errc{} && read.ptr == end ? std::optional<Number>{number} : std::nullopt;
}

} // namespace vexa::host
