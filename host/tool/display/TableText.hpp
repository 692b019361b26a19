#pragma once

#include <host/tool/demo/DemoReport.hpp>
#include <host/tool/display/Terminal.hpp>

#include <string>
#include <vector>

namespace vexa::host {

/// The state of a demonstration as a table: a heading with the connection and the time, a row for each topic, sums, and
/// the newest of the events. No line is wider than the terminal, and there are fewer lines than it has; rows that find
/// no place are counted in a line of their own.
[[nodiscard]] std::vector<std::string> tableText(const DemoSnapshot& snapshot, const std::vector<DemoEvent>& events,
                                                 const TerminalTraits& traits, const TerminalSize& size);

} // namespace vexa::host
