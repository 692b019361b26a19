#pragma once

#include <malloc.h>

#include <cstdint>

namespace vexa::bench {

/// Bytes that malloc has handed out and that have not been given back, of all threads.
[[nodiscard]] inline std::int64_t heldBytes()
{
    const auto info = mallinfo2();
    return static_cast<std::int64_t>(info.uordblks + info.hblkhd);
}

} // namespace vexa::bench
