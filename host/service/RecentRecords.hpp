#pragma once

#include <cstddef>
#include <deque>
#include <utility>

namespace vexa::host {

/// The newest records of a sequence, up to a number of them: adding one more drops the oldest. For one thread at a
/// time.
template <class Record>
class RecentRecords {
public:
    explicit RecentRecords(std::size_t capacity) noexcept : capacity_{capacity} {}

    /// Returns whether a record, which may be the new one, had to be dropped.
    bool add(Record record)
    {
        records_.push_back(std::move(record));
        if (records_.size() <= capacity_) {
            return false;
        }
        records_.pop_front();
        return true;
    }

    /// All of them, the oldest first.
    [[nodiscard]] const std::deque<Record>& all() const noexcept { return records_; }

    /// The same, and forgets them.
    [[nodiscard]] std::deque<Record> take() { return std::exchange(records_, {}); }

private:
    std::size_t capacity_;
    std::deque<Record> records_;
};

} // namespace vexa::host
