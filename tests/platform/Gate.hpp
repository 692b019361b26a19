#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace vexa {

/// Holds threads up until it is opened, as code of a host may do. Opened by its end at the latest.
class Gate {
public:
    Gate() = default;
    ~Gate() { open(); }
    Gate(const Gate&) = delete;
    Gate& operator=(const Gate&) = delete;

    /// Waits until the gate is open.
    void pass()
    {
        std::unique_lock lock{mutex_};
        ++arrived_;
        changed_.notify_all();
        changed_.wait(lock, [this] { return isOpen_; });
    }

    /// Waits until `count` threads have come to the gate.
    void awaitArrivals(std::size_t count)
    {
        std::unique_lock lock{mutex_};
        changed_.wait(lock, [this, count] { return arrived_ >= count; });
    }

    void open()
    {
        const std::lock_guard lock{mutex_};
        isOpen_ = true;
        changed_.notify_all();
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::size_t arrived_ = 0;
    bool isOpen_ = false;
};

} // namespace vexa
