#include <host/tool/demo/SequenceAccount.hpp>

#include <algorithm>

namespace vexa::host {

void SequenceAccount::arrived(std::uint64_t number)
{
    ++count_;
    if (number > highest_) {
        if (number > highest_ + 1) {
            gaps_.emplace(highest_ + 1, number - 1);
        }
        highest_ = number;
    } else if (fill(number)) {
        ++outOfOrder_;
    } else {
        ++duplicated_;
    }
}

std::uint64_t SequenceAccount::missing(std::uint64_t published) const noexcept
{
    std::uint64_t missing = published > highest_ ? published - highest_ : 0;
    for (const auto& [first, last] : gaps_) {
        if (first <= published) {
            missing += std::min(last, published) - first + 1;
        }
    }
    return missing;
}

bool SequenceAccount::fill(std::uint64_t number)
{
    auto gap = gaps_.upper_bound(number);
    if (gap == gaps_.begin()) {
        return false;
    }
    --gap;
    const auto [first, last] = *gap;
    if (number > last) {
        return false;
    }
    gaps_.erase(gap);
    if (first < number) {
        gaps_.emplace(first, number - 1);
    }
    if (number < last) {
        gaps_.emplace(number + 1, last);
    }
    return true;
}

} // namespace vexa::host
