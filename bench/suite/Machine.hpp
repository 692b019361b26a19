#pragma once

#include <VexaClient/platform/Json.hpp>

namespace vexa::bench {

/// What the machine is on which this runs: {"processor","processors","kernel","load","memoryBytes"}.
[[nodiscard]] Dictionary machine();

} // namespace vexa::bench
