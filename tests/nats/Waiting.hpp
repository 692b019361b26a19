#pragma once

#include <chrono>
#include <thread>

namespace vexa::host {

/// How long a test waits for what must come before it fails, which is longer than any machine needs.
inline constexpr std::chrono::seconds patience{60};

/// Whether a condition that nobody announces comes about.
template <class Condition>
[[nodiscard]] bool eventually(Condition condition)
{
    const auto deadline = std::chrono::steady_clock::now() + patience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds{5});
    }
    return true;
}

} // namespace vexa::host
