#include "Journal.hpp"
#include "PlatformsUnderTest.hpp"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace vexa {
namespace {

template <class Under>
class SerialQueueSync : public OnEveryPlatform<Under> {};

TYPED_TEST_SUITE(SerialQueueSync, PlatformsUnderTest, PlatformName);

/// Runs `check` twice: in a queue that is idle, and in one in which an item waits.
template <class Check>
void onIdleAndOnBusyQueue(Platform& platform, Check&& check)
{
    {
        SCOPED_TRACE("idle");
        check(*platform.makeQueue("idle"));
    }
    {
        SCOPED_TRACE("busy");
        const SerialQueueHandle queue = platform.makeQueue("busy");
        Journal<int> journal{platform};
        for (int i = 0; i < 100; ++i) {
            queue->async([&journal, i] { journal.add(i); });
        }
        check(*queue);
        EXPECT_EQ(journal.entries().size(), 100U);
    }
}

TYPED_TEST(SerialQueueSync, anIdleQueueRunsItOnTheCallingThread)
{
    const SerialQueueHandle queue = this->platform.makeQueue("idle");
    EXPECT_EQ(queue->sync([] { return std::this_thread::get_id(); }), std::this_thread::get_id());
}

TYPED_TEST(SerialQueueSync, itReturnsWhatTheClosureReturned)
{
    onIdleAndOnBusyQueue(this->platform, [](SerialQueue& queue) { EXPECT_EQ(queue.sync([] { return 42; }), 42); });
}

TYPED_TEST(SerialQueueSync, aClosureMayReturnNothing)
{
    onIdleAndOnBusyQueue(this->platform, [](SerialQueue& queue) {
        bool hasRun = false;
        static_assert(std::is_void_v<decltype(queue.sync([&] { hasRun = true; }))>);
        queue.sync([&] { hasRun = true; });
        EXPECT_TRUE(hasRun);
    });
}

TYPED_TEST(SerialQueueSync, aClosureMayReturnWhatCanOnlyBeMoved)
{
    onIdleAndOnBusyQueue(this->platform, [](SerialQueue& queue) {
        const std::unique_ptr<int> result =
            queue.sync([owned = std::make_unique<int>(7)]() mutable { return std::move(owned); });
        EXPECT_EQ(*result, 7);
    });
}

TYPED_TEST(SerialQueueSync, itThrowsWhatTheClosureThrew)
{
    onIdleAndOnBusyQueue(this->platform, [](SerialQueue& queue) {
        try {
            queue.sync([]() -> int { throw std::out_of_range{"the closure's own"}; });
            ADD_FAILURE() << "nothing was thrown";
        } catch (const std::out_of_range& error) {
            EXPECT_STREQ(error.what(), "the closure's own");
        }
        EXPECT_TRUE(queue.sync([] { return true; }));
    });
    EXPECT_TRUE(this->under.logLines().empty());
}

TYPED_TEST(SerialQueueSync, theClosureItselfIsCalledAndNoCopy)
{
    struct Counting {
        int calls = 0;
        void operator()() { ++calls; }
    };
    onIdleAndOnBusyQueue(this->platform, [](SerialQueue& queue) {
        Counting closure;
        queue.sync(closure);
        EXPECT_EQ(closure.calls, 1);
    });
}

TYPED_TEST(SerialQueueSync, itRunsBehindTheItemsThatWait)
{
    Journal<std::string> journal{this->platform};
    const SerialQueueHandle queue = this->platform.makeQueue("busy");
    queue->async([&] { journal.add("oldest"); });
    queue->async([&] { journal.add("newest"); });
    queue->sync([&] { journal.add("sync"); });
    queue->async([&] { journal.add("behind"); });
    EXPECT_EQ(journal.await(4), (std::vector<std::string>{"oldest", "newest", "sync", "behind"}));
}

TYPED_TEST(SerialQueueSync, itMayCrossFromQueueToQueue)
{
    const SerialQueueHandle outer = this->platform.makeQueue("outer");
    const SerialQueueHandle inner = this->platform.makeQueue("inner");
    for (int i = 0; i < 100; ++i) {
        inner->async([] {});
        EXPECT_EQ(outer->sync([&] { return inner->sync([i] { return i; }); }), i);
    }
}

TYPED_TEST(SerialQueueSync, anItemMayWaitForAnotherQueue)
{
    Journal<int> journal{this->platform};
    const SerialQueueHandle outer = this->platform.makeQueue("outer");
    const SerialQueueHandle inner = this->platform.makeQueue("inner");
    for (int i = 0; i < 100; ++i) {
        inner->async([] {});
        outer->async([&, i] { journal.add(inner->sync([i] { return i; })); });
    }
    EXPECT_EQ(journal.await(100).back(), 99);
}

} // namespace
} // namespace vexa
