#pragma once

#include <host/tool/top/ServiceSample.hpp>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vexa::host {

/// What stands above a table of topics: how the broker is, who is connected, how much is sent, what the process uses;
/// one line each. Rates are left out as long as there are none.
[[nodiscard]] std::vector<std::string> serviceHeading(const ServiceSample& sample,
                                                      const std::optional<ServiceRates>& rates);

/// The line of serviceHeading() about the broker.
inline constexpr std::size_t brokerLine = 0;

/// All of a sample as lines of text that no terminal's width cuts: the heading and a table of all topics.
[[nodiscard]] std::vector<std::string> plainTable(const std::string& url, const ServiceSample& sample,
                                                  const std::optional<ServiceRates>& rates,
                                                  const std::vector<const TopicSample*>& topics, bool hasUnicode);

} // namespace vexa::host
