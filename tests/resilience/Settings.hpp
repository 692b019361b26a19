#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>

namespace vexa::host {

/// The whole number, 1 or more, in a variable of the environment, or another one when it has none.
[[nodiscard]] inline std::uint64_t settingOr(const char* variable, std::uint64_t otherwise)
{
    const char* const text = std::getenv(variable); // NOLINT(concurrency-mt-unsafe): no thread writes it
    const std::uint64_t number = text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
    return number > 0 ? number : otherwise;
}

/// Waits until `isDone` holds; gives up, and returns false, when what `progress` counts has stood still for a minute.
template <class Done, class Progress>
[[nodiscard]] bool awaitWhileItMoves(Done isDone, Progress progress)
{
    constexpr std::chrono::seconds patience{60};
    auto reached = progress();
    auto since = std::chrono::steady_clock::now();
    while (!isDone()) {
        std::this_thread::sleep_for(std::chrono::milliseconds{5});
        if (const auto now = progress(); now != reached) {
            reached = now;
            since = std::chrono::steady_clock::now();
        } else if (std::chrono::steady_clock::now() - since > patience) {
            return false;
        }
    }
    return true;
}

} // namespace vexa::host
