#include <bench/roads/receive/ReceiveMeter.hpp>
#include <bench/roads/shared/Sockets.hpp>
#include <bench/roads/shared/TopicTexts.hpp>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>

namespace vexa::bench {

namespace {

/// So many acknowledgements fit into a window.
constexpr std::uint64_t acknowledgementsPerWindow = 8;

} // namespace

ReceiveMeter::ReceiveMeter(const ReceiveOptions& options, int acknowledgements)
    : options_{options},
      acknowledgements_{acknowledgements},
      stride_{std::max<std::uint64_t>(1, options.window / acknowledgementsPerWindow)},
      begin_{TimeUsage::now()}
{}

void ReceiveMeter::received(std::uint64_t count)
{
    const std::uint64_t before = received_.fetch_add(count, std::memory_order_relaxed);
    const std::uint64_t now = before + count;
    if (before < options_.warmUp && now >= options_.warmUp) {
        begin_ = TimeUsage::now();
    }
    if (before / stride_ != now / stride_) {
        acknowledge(now);
    }
    if (now >= options_.total() && before < options_.total()) {
        const std::lock_guard lock{mutex_};
        end_ = TimeUsage::now();
        hasEnd_ = true;
        changed_.notify_all();
    }
}

void ReceiveMeter::waitUntilDone(ChildProcess& sender)
{
    constexpr std::chrono::seconds pause{1};
    constexpr int patience = 30;
    std::uint64_t last = 0;
    std::unique_lock lock{mutex_};
    for (int silentFor = 0; !changed_.wait_for(lock, pause, [this] { return hasEnd_; });) {
        sender.check();
        const std::uint64_t now = received_.load();
        silentFor = now == last ? silentFor + 1 : 0;
        if (silentFor > patience) {
            throw std::runtime_error{"no more messages come after " + std::to_string(now)};
        }
        last = now;
    }
}

Dictionary ReceiveMeter::figures(const char* system) const
{
    constexpr double microsecondsPerSecond = 1e6;
    const auto measured = static_cast<double>(options_.total() - options_.warmUp);
    const TimeUsage used = end_ - begin_;
    return {{"road", "receive"},
            {"system", system},
            {"topics", options_.topics},
            {"batch", options_.batch},
            {"messages", options_.total() - options_.warmUp},
            {"messageBytes", messageBytes},
            {"wallSeconds", used.wall},
            {"cpuSeconds", used.cpu},
            {"wallPerMessage", used.wall * microsecondsPerSecond / measured},
            {"cpuPerMessage", used.cpu * microsecondsPerSecond / measured},
            {"memory", asDictionary(MemoryUsage::now())}};
}

void ReceiveMeter::acknowledge(std::uint64_t count) const
{
    writeAll(acknowledgements_, {reinterpret_cast<const char*>(&count), sizeof(count)});
}

} // namespace vexa::bench
