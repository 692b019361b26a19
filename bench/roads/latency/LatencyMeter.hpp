#pragma once

#include <bench/roads/shared/ChildProcess.hpp>
#include <bench/roads/shared/Usage.hpp>
#include <VexaClient/platform/Json.hpp>

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

namespace vexa::bench {

/// How messages are published to see how long they take.
struct LatencyOptions {
    std::uint64_t messages = 100'000; ///< that are measured, after those of the warm-up
    std::uint64_t warmUp = 5'000;
    std::uint64_t rate = 10'000; ///< a second
    std::string mode;

    [[nodiscard]] std::uint64_t total() const noexcept { return warmUp + messages; }
};

/// The moment on the clock that all processes of the machine share, in nanoseconds.
[[nodiscard]] std::int64_t nanosecondsNow() noexcept;

/// A message of two hundred bytes that says when it was published.
[[nodiscard]] Dictionary timedMessage(std::int64_t publishedAt);

/// Publishes messages at a rate, for a process of its own: `publish` hands one to the service and returns at once.
/// Begins with the first byte in the pipe `orders`, and returns when that pipe has been closed.
void publishAtRate(const LatencyOptions& options, int orders, const std::function<void(Dictionary message)>& publish);

/// Collects how long messages took from before they were published until their consumer has them, parsed.
class LatencyMeter {
public:
    explicit LatencyMeter(const LatencyOptions& options);

    /// A consumer has got a message. One at a time.
    void received(const Dictionary& message);

    [[nodiscard]] bool isDone() const noexcept { return received_.load() >= options_.total(); }

    /// Waits until all messages have come. Throws std::runtime_error when they do not.
    void waitUntilDone(ChildProcess& publisher);

    /// The percentiles, in microseconds, and the time that this process worked for each message.
    [[nodiscard]] Dictionary figures(const char* system);

private:
    const LatencyOptions options_;
    std::atomic<std::uint64_t> received_{0};
    std::vector<double> microseconds_;
    TimeUsage begin_;
    TimeUsage end_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool hasEnd_ = false;
};

/// The main function of a program that measures latencies: as roadMain(), with these options.
int latencyMain(int count, char** words, const std::vector<std::string>& modes,
                const std::function<Dictionary(const LatencyOptions& options)>& measure);

} // namespace vexa::bench
