#pragma once

#include <cstdint>
#include <map>

namespace vexa::host {

/// Finds out what one follower of a topic lost, got twice or got in the wrong order, from the numbers alone that the
/// publisher gave its messages: 1, 2, 3 and so on.
class SequenceAccount {
public:
    /// Takes the number of the next message that arrived. 0, which no message has, counts as a repetition.
    void arrived(std::uint64_t number);

    /// How many messages arrived, repetitions included.
    [[nodiscard]] std::uint64_t count() const noexcept { return count_; }

    /// How many of the numbers 1 to `published` have not arrived.
    [[nodiscard]] std::uint64_t missing(std::uint64_t published) const noexcept;

    /// How many arrived that had arrived before.
    [[nodiscard]] std::uint64_t duplicated() const noexcept { return duplicated_; }

    /// How many arrived for the first time, but behind one with a higher number.
    [[nodiscard]] std::uint64_t outOfOrder() const noexcept { return outOfOrder_; }

private:
    /// Takes a number below the highest one out of the gaps; returns whether it was in one.
    bool fill(std::uint64_t number);

    std::uint64_t highest_ = 0;
    std::map<std::uint64_t, std::uint64_t> gaps_; ///< first and last number of each gap below the highest
    std::uint64_t count_ = 0;
    std::uint64_t duplicated_ = 0;
    std::uint64_t outOfOrder_ = 0;
};

} // namespace vexa::host
