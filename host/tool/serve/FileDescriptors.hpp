#pragma once

#include <cstdint>

namespace vexa::host {

/// Lets this process have as many file descriptors as it may, of which each connection takes one. Returns how many that
/// are.
std::uint64_t raiseFileDescriptorLimit() noexcept;

} // namespace vexa::host
