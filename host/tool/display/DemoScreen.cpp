#include <host/tool/display/DemoScreen.hpp>

#include <utility>

namespace vexa::host {

DemoScreen::DemoScreen(Platform& platform, std::unique_ptr<Display> display, std::function<void()> onFinished)
    : display_{std::move(display)}, onFinished_{std::move(onFinished)}, queue_{platform.makeQueue("vexadisplay")}
{}

DemoScreen::~DemoScreen()
{
    queue_->sync([this] { stopUpdating(); });
}

void DemoScreen::follow(Demonstration& demonstration)
{
    queue_->sync([this, &demonstration] {
        const double interval = display_->interval();
        updating_ = queue_->startTimer({interval, interval, 0},
                                       [this, &demonstration] { display_->update(demonstration.snapshot()); });
    });
}

void DemoScreen::showSummary(Demonstration& demonstration, const DemoSummary& summary)
{
    queue_->sync([&] {
        stopUpdating();
        display_->finish(demonstration.snapshot(), summary);
    });
}

void DemoScreen::happened(const DemoEvent& event)
{
    queue_->async([this, event] { display_->happened(event); });
}

void DemoScreen::finished(const DemoSummary& summary)
{
    summary_ = summary;
    onFinished_();
}

void DemoScreen::stopUpdating()
{
    if (const auto updating = std::exchange(updating_, nullptr)) {
        updating->cancel();
    }
}

} // namespace vexa::host
