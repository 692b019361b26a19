#pragma once

#include <VexaClient/platform/TextTable.hpp>

#include <string_view>

namespace vexa::host {

/// The values without labels in a text of metrics, in the text format of Prometheus 0.0.4, by their names. Lines that
/// cannot be read are passed over.
[[nodiscard]] TextTable<double> metricValues(std::string_view text);

} // namespace vexa::host
