#pragma once

#include <bench/roads/receive/ReceiveOptions.hpp>
#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Usage.hpp>
#include <VexaClient/platform/Json.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace vexa::bench {

/// Counts the messages that reach their consumer, confirms them to the sender, and measures what those after the
/// warm-up cost.
class ReceiveMeter {
public:
    /// \param acknowledgements  the writing end of the sender's pipe.
    ReceiveMeter(const ReceiveOptions& options, int acknowledgements);

    /// Asks the sender to begin.
    void start() { acknowledge(0); }

    /// A consumer has got messages. Any thread.
    void received(std::uint64_t count = 1);

    [[nodiscard]] bool isDone() const noexcept { return received_.load(std::memory_order_relaxed) >= options_.total(); }

    /// Waits until all messages have come. Throws std::runtime_error when none has come for long, or when a process
    /// that the sender needs has ended.
    void waitUntilDone(ChildProcess& sender);

    /// What was measured: what each message cost, in microseconds, and the memory of the process now.
    [[nodiscard]] Dictionary figures(const char* system) const;

private:
    void acknowledge(std::uint64_t count) const;

    const ReceiveOptions options_;
    const int acknowledgements_;
    const std::uint64_t stride_; ///< how many messages each acknowledgement is for
    std::atomic<std::uint64_t> received_{0};
    TimeUsage begin_;
    TimeUsage end_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool hasEnd_ = false;
};

} // namespace vexa::bench
