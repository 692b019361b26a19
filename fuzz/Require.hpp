#pragma once

#include <cstdlib>
#include <iostream>
#include <source_location>

namespace vexa::fuzz {

/// Stops the process when something that holds for every input does not hold for this one, so that the fuzzer keeps
/// the input. The message names the line that called it.
inline void require(bool holds, const std::source_location& where = std::source_location::current())
{
    if (!holds) {
        std::cerr << where.file_name() << ':' << where.line() << ": does not hold for this input\n";
        std::abort();
    }
}

} // namespace vexa::fuzz
