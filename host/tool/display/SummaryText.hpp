#pragma once

#include <host/tool/demo/DemoReport.hpp>

#include <string>
#include <vector>

namespace vexa::host {

/// The lines that tell a person how a demonstration went.
[[nodiscard]] std::vector<std::string> summaryText(const DemoSummary& summary, bool hasColour);

} // namespace vexa::host
