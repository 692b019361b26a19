#pragma once

#include "tests/simulation/Recorder.hpp"
#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace vexa::simulation {

/// A virtual platform whose queues and system log can be watched: the recorder learns of every item that a queue runs
/// and of every log line.
class ObservedPlatform final : public Platform {
public:
    ObservedPlatform(std::uint64_t seed, testing::VirtualOptions options);

    testing::VirtualPlatform virtually;
    Recorder recorder;

    SerialQueueHandle makeQueue(std::string label, QueueWork work) override;
    double now() override { return virtually.now(); }
    double monotonicNow() override { return virtually.monotonicNow(); }
    std::uint64_t randomBits() override { return virtually.randomBits(); }
    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, const std::function<bool()>& ready,
              std::optional<double> seconds) override
    {
        return virtually.wait(lock, changed, ready, seconds);
    }
    void enterHostCode() noexcept override { virtually.enterHostCode(); }
    void leaveHostCode() noexcept override { virtually.leaveHostCode(); }

protected:
    void submit(WorkItemPointer item) override;
    void writeLogLine(std::string_view line) override;
};

} // namespace vexa::simulation
