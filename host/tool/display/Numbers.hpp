#pragma once

#include <host/tool/machine/Figure.hpp>

#include <string>

namespace vexa::host {

/// A measured value with its unit, for people: "42.0 %", "1.3 MB/s", "0.52".
[[nodiscard]] std::string displayed(double value, Unit unit);

} // namespace vexa::host
