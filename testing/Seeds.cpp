#include <testing/Seeds.hpp>

#include <charconv>
#include <cstdlib>
#include <numeric>
#include <optional>
#include <string_view>

namespace vexa::testing {

namespace {

std::optional<std::uint64_t> seedOfEnvironment()
{
    const char* variable = std::getenv("VEXA_SEED"); // NOLINT(concurrency-mt-unsafe): nothing here sets it
    if (variable == nullptr) {
        return std::nullopt;
    }
    const std::string_view text{variable};
    std::uint64_t seed = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), seed);
    if (result.ec != std::errc{} || result.ptr != text.data() + text.size()) {
        return std::nullopt;
    }
    return seed;
}

} // namespace

std::uint64_t defaultSeed()
{
    return seedOfEnvironment().value_or(1);
}

std::vector<std::uint64_t> seeds(std::size_t count)
{
    if (const std::optional<std::uint64_t> seed = seedOfEnvironment()) {
        return {*seed};
    }
    std::vector<std::uint64_t> all(count);
    std::iota(all.begin(), all.end(), std::uint64_t{1});
    return all;
}

std::string replayHint(std::uint64_t seed)
{
    return "VEXA_SEED=" + std::to_string(seed);
}

} // namespace vexa::testing
