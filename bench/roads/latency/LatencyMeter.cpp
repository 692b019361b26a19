#include <bench/roads/latency/LatencyMeter.hpp>
#include <bench/roads/shared/RoadMain.hpp>
#include <bench/roads/shared/Sockets.hpp>
#include <bench/roads/shared/TopicTexts.hpp>

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <ctime>
#include <stdexcept>
#include <utility>

namespace vexa::bench {

namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

void sleepUntil(std::int64_t moment)
{
    const timespec time{moment / nanosecondsPerSecond, moment % nanosecondsPerSecond};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &time, nullptr) != 0) {
    }
}

/// The text that fills a timed message up to its size.
const std::string& filling()
{
    static const std::string text = [] {
        const std::size_t others =
            boost::json::serialize(Dictionary{{"publishedAt", nanosecondsNow()}, {"text", ""}}).size();
        return std::string(messageBytes - others, 'x');
    }();
    return text;
}

double percentile(const std::vector<double>& sorted, double share)
{
    const double rank = std::ceil(share * static_cast<double>(sorted.size()));
    return sorted[static_cast<std::size_t>(std::max(rank, 1.0)) - 1];
}

} // namespace

std::int64_t nanosecondsNow() noexcept
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

Dictionary timedMessage(std::int64_t publishedAt)
{
    return {{"publishedAt", publishedAt}, {"text", filling()}};
}

void publishAtRate(const LatencyOptions& options, int orders, const std::function<void(Dictionary message)>& publish)
{
    std::array<char, 16> order{};
    if (readSome(orders, order.data(), order.size()) == 0) {
        return;
    }
    const std::int64_t begin = nanosecondsNow();
    const auto rate = static_cast<std::int64_t>(options.rate);
    for (std::uint64_t number = 0; number < options.total(); ++number) {
        sleepUntil(begin + static_cast<std::int64_t>(number) * nanosecondsPerSecond / rate);
        publish(timedMessage(nanosecondsNow()));
    }
    while (readSome(orders, order.data(), order.size()) > 0) {
    }
}

LatencyMeter::LatencyMeter(const LatencyOptions& options) : options_{options}
{
    microseconds_.reserve(options.messages);
}

void LatencyMeter::received(const Dictionary& message)
{
    constexpr double nanosecondsPerMicrosecond = 1e3;
    const std::int64_t took = nanosecondsNow() - message.at("publishedAt").as_int64();
    const std::uint64_t count = ++received_;
    if (count == options_.warmUp) {
        begin_ = TimeUsage::now();
    }
    if (count > options_.warmUp && microseconds_.size() < options_.messages) {
        microseconds_.push_back(static_cast<double>(took) / nanosecondsPerMicrosecond);
    }
    if (count == options_.total()) {
        const std::lock_guard lock{mutex_};
        end_ = TimeUsage::now();
        hasEnd_ = true;
        changed_.notify_all();
    }
}

void LatencyMeter::waitUntilDone(ChildProcess& publisher)
{
    constexpr std::chrono::seconds pause{1};
    constexpr std::uint64_t patience = 60;
    const std::uint64_t longest = options_.total() / options_.rate + patience;
    std::unique_lock lock{mutex_};
    for (std::uint64_t seconds = 0; !changed_.wait_for(lock, pause, [this] { return hasEnd_; }); ++seconds) {
        publisher.check();
        if (seconds > longest) {
            throw std::runtime_error{"only " + std::to_string(received_) + " messages have come"};
        }
    }
}

Dictionary LatencyMeter::figures(const char* system)
{
    constexpr double microsecondsPerSecond = 1e6;
    constexpr int curvePoints = 1000;
    std::sort(microseconds_.begin(), microseconds_.end());
    List curve;
    for (int point = 0; point <= curvePoints; ++point) {
        const double share = static_cast<double>(point) / curvePoints;
        List pair;
        pair.emplace_back(share);
        pair.emplace_back(percentile(microseconds_, share));
        curve.push_back(std::move(pair));
    }
    const TimeUsage used = end_ - begin_;
    Dictionary figures{{"road", "latency"},
                       {"system", system},
                       {"messages", options_.messages},
                       {"rate", static_cast<double>(options_.messages) / used.wall},
                       {"p50", percentile(microseconds_, 0.5)},
                       {"p90", percentile(microseconds_, 0.9)},
                       {"p99", percentile(microseconds_, 0.99)},
                       {"p999", percentile(microseconds_, 0.999)},
                       {"most", microseconds_.back()},
                       {"cpuPerMessage", used.cpu * microsecondsPerSecond / static_cast<double>(options_.messages)}};
    figures["curve"] = std::move(curve);
    return figures;
}

int latencyMain(int count, char** words, const std::vector<std::string>& modes,
                const std::function<Dictionary(const LatencyOptions& options)>& measure)
{
    LatencyOptions options;
    const std::vector<NumberOption> numbers{{"--messages", &options.messages, "How many are measured"},
                                            {"--warm-up", &options.warmUp, "How many come before them"},
                                            {"--rate", &options.rate, "How many are published in a second"}};
    return roadMain(count, words, numbers, modes, [&](const std::string& mode) {
        if (options.messages == 0 || options.rate == 0) {
            throw std::invalid_argument{"there has to be something to measure"};
        }
        options.mode = mode;
        return measure(options);
    });
}

} // namespace vexa::bench
