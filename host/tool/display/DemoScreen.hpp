#pragma once

#include <host/tool/demo/Demonstration.hpp>
#include <host/tool/demo/DemoReport.hpp>
#include <host/tool/display/Display.hpp>
#include <VexaClient/platform/Platform.hpp>

#include <functional>
#include <memory>

namespace vexa::host {

/// Keeps a display up to date with a demonstration, on a queue of its own, so that a slow terminal holds up nothing but
/// itself.
class DemoScreen final : public DemoObserver {
public:
    /// \param onFinished  called once the demonstration is over, on its queue.
    DemoScreen(Platform& platform, std::unique_ptr<Display> display, std::function<void()> onFinished);

    /// Waits for what is being shown.
    ~DemoScreen() override;
    DemoScreen(const DemoScreen&) = delete;
    DemoScreen& operator=(const DemoScreen&) = delete;

    /// Shows a demonstration, which must outlive this call's effect: until showSummary() or the end of the screen.
    void follow(Demonstration& demonstration);

    /// Shows how the demonstration that is over went. Blocks until it is shown.
    void showSummary(Demonstration& demonstration, const DemoSummary& summary);

    /// What finished() brought; call it after that.
    [[nodiscard]] const DemoSummary& summary() const noexcept { return summary_; }

    void happened(const DemoEvent& event) override;
    void finished(const DemoSummary& summary) override;

private:
    void stopUpdating();

    const std::unique_ptr<Display> display_;
    const std::function<void()> onFinished_;
    const SerialQueueHandle queue_;
    std::shared_ptr<RepeatingTimer> updating_; ///< on the queue
    DemoSummary summary_;
};

} // namespace vexa::host
