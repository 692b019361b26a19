#pragma once

#include <testing/VirtualPlatform.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <string>
#include <utility>
#include <vector>

namespace vexa {

/// A platform that passes everything on to a virtual one, and keeps the labels of the queues that are made. Its log
/// goes nowhere.
class ForwardingPlatform : public Platform {
public:
    SerialQueueHandle makeQueue(std::string label, QueueWork work) override
    {
        labels.push_back(label);
        return virtually.makeQueue(std::move(label), work);
    }
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

    testing::VirtualPlatform virtually;
    std::vector<std::string> labels;

protected:
    void submit(WorkItemPointer item) override
    {
        virtually.execute([item = std::move(item)]() mutable { item.release()->run(); });
    }
    void writeLogLine(std::string_view /*line*/) override {}
};

} // namespace vexa
