#pragma once

#include <cstddef>
#include <string_view>

namespace vexa::host {

/// How the standard output may be written to.
struct TerminalTraits {
    bool isTerminal = false; ///< a person watches, and the cursor can be moved
    bool hasColour = false;  ///< by the NO_COLOR convention (no-color.org)
    bool hasUnicode = false; ///< by the locale's character set
};

/// The traits of this process's standard output and environment.
[[nodiscard]] TerminalTraits terminalTraits();

struct TerminalSize {
    std::size_t width = 80; ///< in columns
    std::size_t height = 24;
};

/// The size of the terminal at the standard output now; a common one when it does not tell.
[[nodiscard]] TerminalSize terminalSize();

/// Writes all of `text` to the standard output at once, past every buffer. What cannot be written is dropped.
void writeToTerminal(std::string_view text) noexcept;

} // namespace vexa::host
