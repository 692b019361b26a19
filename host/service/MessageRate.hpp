#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vexa::host {

/// How many messages come in a second, over the last ten whole seconds. For one thread at a time.
class MessageRate {
public:
    /// `count` more at the moment `now` of the monotonic clock.
    void add(std::size_t count, double now) noexcept
    {
        const auto second = static_cast<std::int64_t>(now);
        if (first_ < 0) {
            first_ = second;
        }
        Slot& slot = slots_[static_cast<std::size_t>(second) % slots_.size()];
        if (slot.second != second) {
            slot = {second, 0};
        }
        slot.count += count;
    }

    /// The mean over the whole seconds before the one of `now`, no more than ten and not from before the first message;
    /// what has come in this second as long as it is the only one.
    [[nodiscard]] double perSecond(double now) const noexcept
    {
        const auto second = static_cast<std::int64_t>(now);
        const std::int64_t from = first_ > second - wholeSeconds ? first_ : second - wholeSeconds;
        std::uint64_t whole = 0;
        std::uint64_t present = 0;
        for (const Slot& slot : slots_) {
            whole += slot.second >= from && slot.second < second ? slot.count : 0;
            present += slot.second == second ? slot.count : 0;
        }
        if (first_ < 0 || first_ >= second) {
            return static_cast<double>(present);
        }
        return static_cast<double>(whole) / static_cast<double>(second - from);
    }

private:
    struct Slot {
        std::int64_t second = -1;
        std::uint64_t count = 0;
    };

    static constexpr std::int64_t wholeSeconds = 10;

    std::array<Slot, wholeSeconds + 1> slots_{};
    std::int64_t first_ = -1;
};

} // namespace vexa::host
