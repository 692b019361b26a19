#include <host/broker/nats/DeliveryInfo.hpp>

#include <array>
#include <charconv>
#include <cstddef>
#include <system_error>

namespace vexa::host {

namespace {

constexpr std::size_t shortForm = 7;
constexpr std::size_t longForm = 9;
constexpr std::size_t domainAndAccount = 2;

std::optional<std::uint64_t> number(std::string_view text) noexcept
{
    std::uint64_t value = 0;
    const auto read = std::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || read.ec != std::errc{} || read.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return value;
}

} // namespace

std::optional<DeliveryInfo> DeliveryInfo::read(std::string_view reply)
{
    if (!reply.starts_with(prefix)) {
        return std::nullopt;
    }
    reply.remove_prefix(prefix.size());
    std::array<std::string_view, longForm> tokens;
    std::size_t count = 0;
    while (count < tokens.size()) {
        const std::size_t dot = reply.find('.');
        tokens[count++] = reply.substr(0, dot);
        if (dot == std::string_view::npos) {
            break;
        }
        reply.remove_prefix(dot + 1);
    }
    if (count != shortForm && count != longForm) {
        return std::nullopt;
    }
    const std::size_t first = count == longForm ? domainAndAccount : 0;
    const auto streamSequence = number(tokens[first + 3]);
    const auto consumerSequence = number(tokens[first + 4]);
    const auto behind = number(tokens[first + 6]);
    if (!streamSequence || !consumerSequence || !behind) {
        return std::nullopt;
    }
    return DeliveryInfo{tokens[first + 1], *streamSequence, *consumerSequence, *behind};
}

} // namespace vexa::host
