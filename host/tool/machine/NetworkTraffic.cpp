#include <host/tool/machine/Fields.hpp>
#include <host/tool/machine/NetworkTraffic.hpp>

#include <cstddef>
#include <optional>
#include <utility>

namespace vexa::host {

namespace {

constexpr std::size_t receivedField = 0;
constexpr std::size_t sentField = 8;

std::optional<NetworkTraffic> readLine(std::string_view line)
{
    // The last colon, since an alias carries one in its name; a number may follow it without a blank.
    const std::size_t colon = line.rfind(':');
    if (colon == std::string_view::npos) {
        return std::nullopt;
    }
    const auto names = fieldsOf(line.substr(0, colon));
    const auto fields = fieldsOf(line.substr(colon + 1));
    if (names.size() != 1 || fields.size() <= sentField) {
        return std::nullopt;
    }
    const auto received = numberIn<std::uint64_t>(fields[receivedField]);
    const auto sent = numberIn<std::uint64_t>(fields[sentField]);
    if (!received || !sent) {
        return std::nullopt;
    }
    return NetworkTraffic{std::string{names[0]}, *received, *sent};
}

} // namespace

std::vector<NetworkTraffic> readNetworkTraffic(std::string_view text)
{
    std::vector<NetworkTraffic> interfaces;
    for (const std::string_view line : linesOf(text)) {
        if (auto traffic = readLine(line)) {
            interfaces.push_back(std::move(*traffic));
        }
    }
    return interfaces;
}

} // namespace vexa::host
