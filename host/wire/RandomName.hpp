#pragma once

#include <VexaClient/platform/Platform.hpp>

#include <string>

namespace vexa::host {

/// Sixteen hexadecimal digits from the platform's secure random source, as a name that hardly anything else has.
[[nodiscard]] std::string randomName(Platform& platform);

} // namespace vexa::host
