#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace vexa {

/// Random bits of the operating system, fetched a few hundred bytes at a time and used once.
class SecureRandom {
public:
    [[nodiscard]] std::uint64_t bits();

private:
    /// What the kernel hands over in one piece, without interruption.
    static constexpr std::size_t batch = 256 / sizeof(std::uint64_t);

    std::mutex mutex_;
    std::array<std::uint64_t, batch> bits_{};
    std::size_t left_ = 0;
};

} // namespace vexa
