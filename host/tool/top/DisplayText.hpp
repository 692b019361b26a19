#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Text from outside on a terminal whose columns must stay in line. Columns are counted as wcwidth() of POSIX does, by
/// the character set UTF-8 whatever the locale of the process is.
namespace vexa::host {

/// `text` as a terminal can show it without harm: control characters and those that change the direction or the form of
/// what follows are replaced by their escapes, bytes that are not UTF-8 and characters that are none by U+FFFD; without
/// `hasUnicode` everything outside ASCII by question marks.
[[nodiscard]] std::string displayText(std::string_view text, bool hasUnicode);

/// How many columns a text from displayText() takes.
[[nodiscard]] std::size_t displayColumns(std::string_view text);

/// The beginning of such a text that takes up to `columns` columns.
[[nodiscard]] std::string_view firstColumns(std::string_view text, std::size_t columns);

/// What is left of such a text behind its first `columns` columns, or one more where they end within a character.
[[nodiscard]] std::string_view behindColumns(std::string_view text, std::size_t columns);

/// Such a text in exactly `columns` columns, at the left or at the right of them.
[[nodiscard]] std::string atLeft(std::string_view text, std::size_t columns);
[[nodiscard]] std::string atRight(std::string_view text, std::size_t columns);

} // namespace vexa::host
