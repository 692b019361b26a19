#pragma once

#include <VexaClient/platform/Platform.hpp>

#include <condition_variable>
#include <cstddef>
#include <functional>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace vexa {

/// What happened, in order. Any thread may add; waiting for entries drives a virtual platform and blocks on a real one.
template <class Entry>
class Journal {
public:
    explicit Journal(Platform& platform) : platform_{platform} {}

    void add(Entry entry)
    {
        const std::lock_guard lock{mutex_};
        entries_.push_back(std::move(entry));
        changed_.notify_all();
    }

    /// The entries, once there are `count` of them.
    std::vector<Entry> await(std::size_t count)
    {
        std::unique_lock lock{mutex_};
        platform_.wait(lock, changed_, [&] { return entries_.size() >= count; }, std::nullopt);
        return entries_;
    }

    [[nodiscard]] std::vector<Entry> entries() const
    {
        const std::lock_guard lock{mutex_};
        return entries_;
    }

    /// Lets time pass without waiting for anything.
    void pause(double seconds)
    {
        std::unique_lock lock{mutex_};
        platform_.wait(lock, changed_, [] { return false; }, seconds);
    }

private:
    Platform& platform_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Entry> entries_;
};

} // namespace vexa
