#include "Journal.hpp"
#include "PlatformsUnderTest.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace vexa {
namespace {

constexpr TimerSchedule everyMillisecond{0.001, 0.001, 0.0};

template <class Under>
class RepeatingTimers : public OnEveryPlatform<Under> {
protected:
    const SerialQueueHandle queue = this->platform.makeQueue("timers");
    Journal<int> fired{this->platform};

    void cancel(const std::shared_ptr<RepeatingTimer>& timer)
    {
        queue->sync([&] { timer->cancel(); });
    }
};

TYPED_TEST_SUITE(RepeatingTimers, PlatformsUnderTest, PlatformName);

TYPED_TEST(RepeatingTimers, aTimerFiresAgainAndAgainOnItsQueue)
{
    Journal<bool> onQueue{this->platform};
    const auto timer = this->queue->startTimer(everyMillisecond, [&] { onQueue.add(this->queue->isCurrent()); });
    onQueue.await(5);
    this->cancel(timer);
    for (const bool each : onQueue.entries()) {
        EXPECT_TRUE(each);
    }
}

TYPED_TEST(RepeatingTimers, noFiringComesBeforeItsDeadline)
{
    const double before = this->platform.monotonicNow();
    Journal<double> firedAt{this->platform};
    const auto timer =
        this->queue->startTimer({0.02, 0.01, 0.001}, [&] { firedAt.add(this->platform.monotonicNow()); });
    const std::vector<double> times = firedAt.await(3);
    this->cancel(timer);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_GE(times[i], before + 0.02 + 0.01 * static_cast<double>(i) - 1e-6) << i;
    }
}

TYPED_TEST(RepeatingTimers, theTimerRunsOnWhetherOrNotAnyoneHoldsIt)
{
    std::weak_ptr<RepeatingTimer> watched;
    {
        const auto timer = this->queue->startTimer(everyMillisecond, [this] { this->fired.add(1); });
        watched = timer;
    }
    this->fired.await(3);
    this->queue->sync([&] {
        if (const auto timer = watched.lock()) {
            timer->cancel();
        }
    });
    EXPECT_GE(this->fired.entries().size(), 3U);
}

TYPED_TEST(RepeatingTimers, aCancelledTimerDestroysItsHandlerOnTheQueueBeforeCancelReturns)
{
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = owned;
    const auto timer = this->queue->startTimer({60.0, 60.0, 0.0}, [owned = std::move(owned)] {});
    EXPECT_FALSE(watched.expired());
    this->queue->sync([&] {
        timer->cancel();
        EXPECT_TRUE(watched.expired());
    });
}

TYPED_TEST(RepeatingTimers, aHandlerMayCancelItsOwnTimerAndIsDestroyedWhenItReturns)
{
    auto owned = std::make_shared<int>(0);
    const std::weak_ptr<int> watched = owned;
    std::shared_ptr<RepeatingTimer> timer;
    this->queue->sync([&] {
        timer = this->queue->startTimer(everyMillisecond, [&, owned = std::move(owned)] {
            timer->cancel();
            this->fired.add(watched.expired() ? 0 : 1);
        });
    });
    EXPECT_EQ(this->fired.await(1), std::vector<int>{1});
    EXPECT_TRUE(this->queue->sync([&] { return watched.expired(); }));
    this->fired.pause(0.01);
    EXPECT_EQ(this->queue->sync([&] { return this->fired.entries().size(); }), 1U);
}

TYPED_TEST(RepeatingTimers, aFiringThatWaitsInTheQueueDoesNotRunAfterTheCancellation)
{
    Journal<std::string> journal{this->platform};
    this->queue->async([&] {
        const auto timer = this->queue->startTimer(everyMillisecond, [&] { journal.add("fired"); });
        // Long enough for a firing to be put into the queue, behind this item.
        journal.pause(0.02);
        timer->cancel();
        this->queue->async([&] { journal.add("behind the firing"); });
    });
    EXPECT_EQ(journal.await(1), std::vector<std::string>{"behind the firing"});
    journal.pause(0.01);
    EXPECT_EQ(this->queue->sync([&] { return journal.entries().size(); }), 1U);
    EXPECT_EQ(this->under.logLines(), std::vector<std::string>{}) << "nothing was called that is gone";
}

TYPED_TEST(RepeatingTimers, cancellingAgainDoesNothing)
{
    const auto timer = this->queue->startTimer(everyMillisecond, [this] { this->fired.add(1); });
    this->fired.await(1);
    this->cancel(timer);
    const std::size_t firings = this->fired.entries().size();
    this->cancel(timer);
    this->fired.pause(0.01);
    EXPECT_EQ(this->fired.entries().size(), firings);
}

TYPED_TEST(RepeatingTimers, aHandlerThatThrowsIsLoggedAndCalledAgain)
{
    const auto timer = this->queue->startTimer(everyMillisecond, [this] {
        this->fired.add(1);
        throw std::runtime_error{"the handler's"};
    });
    this->fired.await(3);
    this->cancel(timer);
    EXPECT_EQ(this->under.logLines().front(), "VEXA: a work item of the queue \"timers\" threw: the handler's");
}

TYPED_TEST(RepeatingTimers, timersOfOneQueueRunApartFromEachOther)
{
    Journal<int> other{this->platform};
    const auto one = this->queue->startTimer(everyMillisecond, [this] { this->fired.add(1); });
    const auto two = this->queue->startTimer({0.001, 0.002, 0.0}, [&] { other.add(2); });
    this->fired.await(3);
    this->cancel(one);
    const std::size_t firings = this->fired.entries().size();
    other.await(other.entries().size() + 3);
    this->cancel(two);
    EXPECT_EQ(this->fired.entries().size(), firings);
}

TYPED_TEST(RepeatingTimers, aHandlerMayStartAnotherTimer)
{
    std::vector<std::shared_ptr<RepeatingTimer>> timers;
    std::function<void()> startNext = [&] {
        this->fired.add(1);
        if (timers.size() < 5) {
            timers.push_back(this->queue->startTimer({0.001, 60.0, 0.0}, startNext));
        }
    };
    this->queue->sync([&] { timers.push_back(this->queue->startTimer({0.001, 60.0, 0.0}, startNext)); });
    this->fired.await(5);
    this->queue->sync([&] {
        for (const auto& timer : timers) {
            timer->cancel();
        }
    });
    EXPECT_EQ(timers.size(), 5U);
}

} // namespace
} // namespace vexa
