#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Small drawings of numbers, one line high. Each is exactly `width` columns wide.
namespace vexa::host {

/// A bar that is filled to `share`, from 0 to 1, of its width. With Unicode in steps of an eighth of a column.
[[nodiscard]] std::string bar(double share, std::size_t width, bool hasUnicode);

/// The newest of `values` as marks of different heights, the newest at the right, the highest of them full. Negative
/// values and not-a-number stand at the bottom.
[[nodiscard]] std::string sparkLine(const std::vector<double>& values, std::size_t width, bool hasUnicode);

} // namespace vexa::host
