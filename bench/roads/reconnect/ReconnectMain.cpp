#include <bench/roads/reconnect/ReconnectMain.hpp>
#include <bench/roads/shared/RoadMain.hpp>

#include <string>

namespace vexa::bench {

int reconnectMain(int count, char** words, const char* system,
                  const std::function<Recovery(std::uint64_t topics)>& recover)
{
    constexpr double millisecondsPerSecond = 1e3;
    std::uint64_t topics = 10'000;
    return roadMain(count, words, {{"--topics", &topics, "How many topics"}}, {"cut"},
                    [&](const std::string& /*mode*/) -> Dictionary {
                        const Recovery recovery = recover(topics);
                        const TimeUsage used = recovery.working - recovery.mended;
                        return {
                            {"road", "reconnect"},
                            {"system", system},
                            {"topics", topics},
                            {"milliseconds", (recovery.working.wall - recovery.connectedAt) * millisecondsPerSecond},
                            {"cpuMilliseconds", used.cpu * millisecondsPerSecond},
                            {"missed", recovery.missed},
                            {"lost", recovery.lost},
                            {"memory", asDictionary(MemoryUsage::now())}};
                    });
}

} // namespace vexa::bench
