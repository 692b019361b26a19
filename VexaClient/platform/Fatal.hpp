#pragma once

#include <string_view>

namespace vexa {

/// Stops the process after a programming error: writes "VEXA: " and `message` to standard error and to the operating
/// system's log, then aborts.
[[noreturn]] void fatal(std::string_view message) noexcept;

} // namespace vexa
