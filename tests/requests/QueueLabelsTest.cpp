#include "ClientUnderTest.hpp"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace vexa::testing {

namespace {

/// A virtual platform that keeps the labels of the queues that it makes.
class LabelKeepingPlatform final : public Platform {
public:
    std::vector<std::string> labels;

    SerialQueueHandle makeQueue(std::string label, QueueWork work) override
    {
        labels.push_back(label);
        return platform_.makeQueue(std::move(label), work);
    }
    double now() override { return platform_.now(); }
    double monotonicNow() override { return platform_.monotonicNow(); }
    std::uint64_t randomBits() override { return platform_.randomBits(); }
    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, const std::function<bool()>& ready,
              std::optional<double> seconds) override
    {
        return platform_.wait(lock, changed, ready, seconds);
    }
    void enterHostCode() noexcept override { platform_.enterHostCode(); }
    void leaveHostCode() noexcept override { platform_.leaveHostCode(); }

protected:
    void submit(WorkItemPointer) override { ADD_FAILURE() << "a client has no work apart from its queues"; }
    void writeLogLine(std::string_view line) override { ADD_FAILURE() << line; }

private:
    VirtualPlatform platform_;
};

TEST(NewClient, MakesItsStateQueueAndItsCallbackQueue)
{
    LabelKeepingPlatform platform;
    Dependencies container;
    const auto client = VexaOruClient::make(platform, container);

    EXPECT_EQ(platform.labels, (std::vector<std::string>{"vexaint", "vexacb"}));
}

} // namespace

} // namespace vexa::testing
