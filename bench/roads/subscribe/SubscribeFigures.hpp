#pragma once

#include <bench/roads/shared/RoadMain.hpp>
#include <bench/roads/shared/Usage.hpp>
#include <VexaClient/platform/Json.hpp>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vexa::bench {

/// Measures what it costs to subscribe to topics, from its making to figures().
class SubscribeMeter {
public:
    explicit SubscribeMeter(std::uint64_t topics)
        : topics_{topics}, memoryBefore_{MemoryUsage::now()}, begin_{TimeUsage::now()}
    {}

    /// What each topic cost: microseconds, and bytes that are held for it.
    [[nodiscard]] Dictionary figures(const char* system) const;

private:
    const std::uint64_t topics_;
    const MemoryUsage memoryBefore_;
    const TimeUsage begin_;
};

/// The main function of a program that subscribes: as roadMain(), with the number of topics.
int subscribeMain(int count, char** words, const std::vector<std::string>& modes,
                  const std::function<Dictionary(std::uint64_t topics, const std::string& mode)>& subscribe);

} // namespace vexa::bench
