#include <bench/roads/subscribe/SubscribeFigures.hpp>

namespace vexa::bench {

Dictionary SubscribeMeter::figures(const char* system) const
{
    constexpr double microsecondsPerSecond = 1e6;
    const TimeUsage used = TimeUsage::now() - begin_;
    const MemoryUsage memory = MemoryUsage::now();
    const auto count = static_cast<double>(topics_);
    const auto perTopic = [count](std::uint64_t after, std::uint64_t before) {
        return (static_cast<double>(after) - static_cast<double>(before)) / count;
    };
    return {{"road", "subscribe"},
            {"system", system},
            {"topics", topics_},
            {"wallSeconds", used.wall},
            {"cpuSeconds", used.cpu},
            {"wallPerTopic", used.wall * microsecondsPerSecond / count},
            {"cpuPerTopic", used.cpu * microsecondsPerSecond / count},
            {"allocatedPerTopic", perTopic(memory.allocated, memoryBefore_.allocated)},
            {"residentPerTopic", perTopic(memory.resident, memoryBefore_.resident)},
            {"memory", asDictionary(memory)}};
}

int subscribeMain(int count, char** words, const std::vector<std::string>& modes,
                  const std::function<Dictionary(std::uint64_t topics, const std::string& mode)>& subscribe)
{
    std::uint64_t topics = 100'000;
    return roadMain(count, words, {{"--topics", &topics, "How many topics"}}, modes,
                    [&](const std::string& mode) { return subscribe(topics, mode); });
}

} // namespace vexa::bench
