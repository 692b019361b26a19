#pragma once

#include <VexaClient/platform/SystemPlatform.hpp>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

namespace vexa::host {

/// The platform of the operating system with a wall clock that is wrong by a fixed number of seconds.
class SkewedPlatform final : public Platform {
public:
    explicit SkewedPlatform(double skew) : skew_{skew} {}

    [[nodiscard]] SerialQueueHandle makeQueue(std::string label, QueueWork work = QueueWork::mayBlock) override
    {
        return inner_.makeQueue(std::move(label), work);
    }

    [[nodiscard]] double now() override { return inner_.now() + skew_; }
    [[nodiscard]] double monotonicNow() override { return inner_.monotonicNow(); }
    [[nodiscard]] std::uint64_t randomBits() override { return inner_.randomBits(); }

    bool wait(std::unique_lock<std::mutex>& lock, std::condition_variable& changed, const std::function<bool()>& ready,
              std::optional<double> seconds) override
    {
        return inner_.wait(lock, changed, ready, seconds);
    }

    void enterHostCode() noexcept override { inner_.enterHostCode(); }
    void leaveHostCode() noexcept override { inner_.leaveHostCode(); }

protected:
    void submit(WorkItemPointer item) override
    {
        inner_.execute([item = std::move(item)]() mutable { item.release()->run(); });
    }

    void writeLogLine(std::string_view /*line*/) override {}

private:
    SystemPlatform inner_{2};
    const double skew_;
};

} // namespace vexa::host
