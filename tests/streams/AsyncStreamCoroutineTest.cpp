#include "Coroutine.hpp"
#include "StreamSource.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <stop_token>

namespace vexa {
namespace {

Coroutine consumeAll(AsyncStream<int>& stream, Answers& answers)
{
    for (;;) {
        const std::optional<int> answer = co_await stream.next();
        answers.push_back(answer);
        if (!answer) {
            break;
        }
    }
}

Coroutine consumeOne(AsyncStream<int>& stream, Answers& answers, std::stop_token stop = {})
{
    answers.push_back(co_await stream.next(std::move(stop)));
}

TEST(AsyncStreamCoroutine, TakesEveryElementAndThenNothing)
{
    for (const std::uint64_t seed : testing::seeds(30)) {
        NumberSource under{seed};
        Answers answers;
        const Coroutine consumer = consumeAll(*under.stream, answers);
        under.continuation->yield(1);
        under.platform.runOne();
        under.continuation->yield(2);
        under.continuation->yield(3);
        under.continuation->finish();
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{1, 2, 3, std::nullopt})) << testing::replayHint(seed);
        EXPECT_TRUE(consumer.isDone()) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamCoroutine, GoesOnAtOnceWithWhatIsBuffered)
{
    NumberSource under;
    under.continuation->yield(1);
    Answers answers;
    const Coroutine consumer = consumeAll(*under.stream, answers);
    EXPECT_EQ(answers, (Answers{1}));
    EXPECT_TRUE(under.platform.isIdle());
    under.stream->cancel();
    under.platform.runUntilIdle();
}

TEST(AsyncStreamCoroutine, AnswersNothingForEverAfterTheEnd)
{
    NumberSource under;
    under.continuation->finish();
    Answers answers;
    const Coroutine first = consumeOne(*under.stream, answers);
    const Coroutine second = consumeOne(*under.stream, answers);
    EXPECT_EQ(answers, (Answers{std::nullopt, std::nullopt}));
}

TEST(AsyncStreamCoroutine, NeverRunsInsideTheProducersCall)
{
    NumberSource under;
    Answers answers;
    const Coroutine consumer = consumeAll(*under.stream, answers);
    under.continuation->yield(1);
    EXPECT_EQ(answers, (Answers{}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{1}));
    under.continuation->finish();
    EXPECT_EQ(answers, (Answers{1}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{1, std::nullopt}));
}

Coroutine noteWhere(AsyncStream<int>& stream, SerialQueueHandle queue, std::vector<bool>& onTheQueue)
{
    while (const std::optional<int> answer = co_await stream.next()) {
        onTheQueue.push_back(queue->isCurrent());
    }
}

TEST(AsyncStreamCoroutine, NeverRunsOnTheProducersQueue)
{
    for (const std::uint64_t seed : testing::seeds(30)) {
        NumberSource under{seed};
        const SerialQueueHandle queue = under.platform.makeQueue("producer");
        std::vector<bool> onTheQueue;
        const Coroutine consumer = noteWhere(*under.stream, queue, onTheQueue);
        for (int number = 1; number <= 3; ++number) {
            queue->async([&under, number] { under.continuation->yield(number); });
        }
        queue->async([&] { under.continuation->finish(); });
        under.platform.runUntilIdle();
        EXPECT_EQ(onTheQueue, std::vector<bool>(3)) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamCoroutine, IsAnsweredWhenTheStreamIsDropped)
{
    NumberSource under;
    Answers answers;
    const Coroutine consumer = consumeOne(*under.stream, answers);
    under.drop();
    EXPECT_EQ(answers, (Answers{}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamCoroutine, FindsNothingWhenTheStreamIsCancelledBehindAnElement)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        Answers answers;
        const Coroutine consumer = consumeOne(*under.stream, answers);
        under.continuation->yield(1);
        under.stream->cancel();
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{std::nullopt})) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamCoroutine, CancelsTheStreamWhenItIsDestroyedWhileItWaits)
{
    NumberSource under;
    Answers answers;
    Coroutine consumer = consumeOne(*under.stream, answers);
    EXPECT_EQ(under.ends, (Ends{}));
    consumer.destroy();
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{}));
    EXPECT_EQ(under.continuation->yield(1), YieldResult::terminated);
}

TEST(AsyncStreamCoroutine, NeverGoesOnWhenItIsDestroyedBetweenItsCallAndItsTurn)
{
    for (const bool finishes : {false, true}) {
        NumberSource under;
        Answers answers;
        Coroutine consumer = consumeOne(*under.stream, answers);
        finishes ? under.continuation->finish() : static_cast<void>(under.continuation->yield(1));
        consumer.destroy();
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{}));
        EXPECT_EQ(under.ends, (Ends{finishes ? StreamEnd::finished : StreamEnd::cancelled}));
        EXPECT_TRUE(under.stream->isExhausted());
    }
}

TEST(AsyncStreamCoroutine, LeavesTheStreamAsItIsWhenItIsDestroyedAfterItsAnswer)
{
    NumberSource under;
    Answers answers;
    {
        const Coroutine consumer = consumeOne(*under.stream, answers);
        under.continuation->yield(1);
        under.platform.runUntilIdle();
    }
    EXPECT_EQ(under.ends, (Ends{}));
    under.continuation->yield(2);
    const Coroutine next = consumeOne(*under.stream, answers);
    EXPECT_EQ(answers, (Answers{1, 2}));
}

TEST(AsyncStreamCoroutine, LeavesTheStreamAsItIsWhenTheOperationIsNeverAwaited)
{
    NumberSource under;
    {
        const auto operation = under.stream->next();
    }
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamCoroutine, CancelsTheStreamWhenAskedToStopWhileItWaits)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        std::stop_source stop;
        Answers answers;
        const Coroutine consumer = consumeOne(*under.stream, answers, stop.get_token());
        EXPECT_EQ(under.ends, (Ends{}));
        stop.request_stop();
        EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
        EXPECT_EQ(answers, (Answers{}));
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{std::nullopt})) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamCoroutine, CancelsTheStreamWhenAskedToStopBeforehand)
{
    NumberSource under;
    under.continuation->yield(1);
    std::stop_source stop;
    stop.request_stop();
    Answers answers;
    const Coroutine consumer = consumeOne(*under.stream, answers, stop.get_token());
    EXPECT_EQ(answers, (Answers{std::nullopt}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamCoroutine, TakesNoNoticeOfAStopAfterItsAnswer)
{
    NumberSource under;
    std::stop_source stop;
    Answers answers;
    const Coroutine waited = consumeOne(*under.stream, answers, stop.get_token());
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    under.continuation->yield(2);
    const Coroutine found = consumeOne(*under.stream, answers, stop.get_token());
    stop.request_stop();
    EXPECT_EQ(answers, (Answers{1, 2}));
    EXPECT_EQ(under.ends, (Ends{}));
}

Coroutine stopInTheSameExpression(AsyncStream<int>& stream, std::stop_source& stop, Answers& answers)
{
    const auto takeAndStop = [&](std::optional<int> answer) {
        answers.push_back(answer);
        stop.request_stop();
    };
    takeAndStop(co_await stream.next(stop.get_token()));
}

TEST(AsyncStreamCoroutine, TakesNoNoticeOfAStopWhileItsAnswerIsUsed)
{
    NumberSource under;
    std::stop_source stop;
    Answers answers;
    const Coroutine consumer = stopInTheSameExpression(*under.stream, stop, answers);
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{1}));
    EXPECT_EQ(under.ends, (Ends{}));
}

Coroutine consumeBoxes(AsyncStream<std::unique_ptr<int>>& stream, Numbers& numbers)
{
    while (const auto number = co_await stream.next()) {
        numbers.push_back(**number);
    }
}

TEST(AsyncStreamCoroutine, TakesMoveOnlyElements)
{
    StreamSource<std::unique_ptr<int>> under;
    Numbers numbers;
    under.continuation->yield(std::make_unique<int>(1));
    const Coroutine consumer = consumeBoxes(*under.stream, numbers);
    under.continuation->yield(std::make_unique<int>(2));
    under.continuation->finish();
    under.platform.runUntilIdle();
    EXPECT_EQ(numbers, (Numbers{1, 2}));
}

/// The stream belongs to the coroutine that consumes it.
Coroutine own(AsyncStream<int> stream, Answers& answers)
{
    answers.push_back(co_await stream.next());
    answers.push_back(co_await stream.next());
}

TEST(AsyncStreamCoroutine, TakesItsStreamAlongWhenItIsDestroyed)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        Answers answers;
        {
            const Coroutine owner = own(std::move(*under.stream), answers);
            under.continuation->yield(1);
            under.platform.runUntilIdle();
        }
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{1})) << testing::replayHint(seed);
        EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled})) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamCoroutineDeathTest, ASecondPendingNextStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            NumberSource under;
            Answers answers;
            const Coroutine first = consumeOne(*under.stream, answers);
            const Coroutine second = consumeOne(*under.stream, answers);
        },
        "VEXA: a stream has one consumer, but next\\(\\) was called while another call of it was pending");
}

} // namespace
} // namespace vexa
