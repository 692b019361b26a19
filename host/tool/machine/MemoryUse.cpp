#include <host/tool/machine/Fields.hpp>
#include <host/tool/machine/MemoryUse.hpp>

#include <algorithm>
#include <map>
#include <string_view>

namespace vexa::host {

namespace {

using Kibibytes = std::map<std::string_view, std::uint64_t>;

Kibibytes readFigures(std::string_view text)
{
    Kibibytes figures;
    for (const std::string_view line : linesOf(text)) {
        const auto fields = fieldsOf(line);
        if (fields.size() == 3 && fields[2] == "kB") {
            if (const auto number = numberIn<std::uint64_t>(fields[1])) {
                figures.emplace(fields[0], *number);
            }
        }
    }
    return figures;
}

std::optional<std::uint64_t> figure(const Kibibytes& figures, std::string_view name)
{
    const auto found = figures.find(name);
    return found != figures.end() ? std::optional{found->second} : std::nullopt;
}

std::optional<std::uint64_t> available(const Kibibytes& figures)
{
    if (const auto stated = figure(figures, "MemAvailable:")) {
        return stated;
    }
    const auto free = figure(figures, "MemFree:");
    if (!free) {
        return std::nullopt;
    }
    return *free + figure(figures, "Buffers:").value_or(0) + figure(figures, "Cached:").value_or(0);
}

} // namespace

std::optional<MemoryUse> readMemoryUse(std::string_view text)
{
    constexpr std::uint64_t bytesPerKibibyte = 1024;
    const Kibibytes figures = readFigures(text);
    const auto total = figure(figures, "MemTotal:");
    const auto rest = available(figures);
    if (!total || !rest || *total == 0) {
        return std::nullopt;
    }
    return MemoryUse{*total * bytesPerKibibyte, std::min(*rest, *total) * bytesPerKibibyte};
}

} // namespace vexa::host
