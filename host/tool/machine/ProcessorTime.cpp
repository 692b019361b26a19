#include <host/tool/machine/Fields.hpp>
#include <host/tool/machine/ProcessorTime.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>

namespace vexa::host {

namespace {

// user, nice, system, idle, iowait, irq, softirq, steal; the guests' times behind them are part of user and nice.
constexpr std::size_t fewestTimes = 4;
constexpr std::size_t mostTimes = 8;
constexpr std::size_t idle = 3;
constexpr std::size_t waitingForDevices = 4;

std::optional<ProcessorTime> readLine(std::string_view line)
{
    constexpr std::string_view prefix = "cpu";
    const auto fields = fieldsOf(line);
    if (fields.size() < 1 + fewestTimes || !fields[0].starts_with(prefix)) {
        return std::nullopt;
    }
    const auto core = numberIn<int>(fields[0].substr(prefix.size()));
    if (!core) {
        return std::nullopt;
    }
    ProcessorTime time{*core, 0, 0};
    for (std::size_t kind = 0; kind < std::min(mostTimes, fields.size() - 1); ++kind) {
        const auto ticks = numberIn<std::uint64_t>(fields[kind + 1]);
        if (!ticks) {
            return std::nullopt;
        }
        time.total += *ticks;
        time.busy += kind == idle || kind == waitingForDevices ? 0 : *ticks;
    }
    return time;
}

} // namespace

std::vector<ProcessorTime> readProcessorTimes(std::string_view text)
{
    std::vector<ProcessorTime> times;
    for (const std::string_view line : linesOf(text)) {
        if (const auto time = readLine(line)) {
            times.push_back(*time);
        }
    }
    return times;
}

} // namespace vexa::host
