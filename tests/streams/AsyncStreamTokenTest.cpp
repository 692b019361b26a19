#include "StreamSource.hpp"
#include <testing/Seeds.hpp>

#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/bind_executor.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/deferred.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_future.hpp>

#include <gtest/gtest.h>

#include <functional>
#include <future>
#include <memory>
#include <stop_token>

namespace vexa {
namespace {

using boost::asio::cancellation_type;

/// A completion handler that keeps its answer.
auto into(Answers& answers)
{
    return [&answers](std::optional<int> answer) { answers.push_back(answer); };
}

TEST(AsyncStreamToken, CallsAHandlerWithoutAnExecutorOnThePlatform)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        const SerialQueueHandle queue = under.platform.makeQueue("producer");
        std::vector<bool> onTheQueue;
        under.stream->next([&](std::optional<int>) { onTheQueue.push_back(queue->isCurrent()); });
        queue->async([&] { under.continuation->yield(1); });
        under.platform.runUntilIdle();
        EXPECT_EQ(onTheQueue, std::vector<bool>{false}) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamToken, NeverCallsTheHandlerInsideNextOrYield)
{
    NumberSource under;
    Answers answers;
    under.continuation->yield(1);
    under.stream->next(into(answers));
    EXPECT_EQ(answers, (Answers{}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{1}));

    under.stream->next(into(answers));
    under.continuation->yield(2);
    EXPECT_EQ(answers, (Answers{1}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{1, 2}));
}

TEST(AsyncStreamToken, AnswersNothingAtTheEnd)
{
    NumberSource under;
    Answers answers;
    under.stream->next(into(answers));
    under.continuation->finish();
    under.platform.runUntilIdle();
    under.stream->next(into(answers));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt, std::nullopt}));
}

TEST(AsyncStreamToken, AnswersNothingWhenTheStreamIsDropped)
{
    NumberSource under;
    Answers answers;
    under.stream->next(into(answers));
    under.drop();
    EXPECT_EQ(answers, (Answers{}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
}

TEST(AsyncStreamToken, CallsABoundHandlerOnItsExecutor)
{
    NumberSource under;
    boost::asio::io_context context;
    Answers answers;
    under.stream->next(boost::asio::bind_executor(context, into(answers)));
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{}));
    EXPECT_EQ(context.poll(), 1U);
    EXPECT_EQ(answers, (Answers{1}));

    context.restart();
    under.continuation->yield(2);
    under.stream->next(boost::asio::bind_executor(context, into(answers)));
    EXPECT_EQ(answers, (Answers{1}));
    EXPECT_EQ(context.poll(), 1U);
    EXPECT_EQ(answers, (Answers{1, 2}));
}

TEST(AsyncStreamToken, KeepsTheExecutorAtWorkWhileItWaits)
{
    NumberSource under;
    boost::asio::io_context context;
    Answers answers;
    under.stream->next(boost::asio::bind_executor(context, into(answers)));
    context.poll();
    EXPECT_FALSE(context.stopped());
    under.continuation->yield(1);
    context.poll();
    EXPECT_TRUE(context.stopped());
    EXPECT_EQ(answers, (Answers{1}));
}

TEST(AsyncStreamToken, FulfilsAFuture)
{
    NumberSource under;
    std::future<std::optional<int>> first = under.stream->next(boost::asio::use_future);
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    EXPECT_EQ(first.get(), 1);

    std::future<std::optional<int>> last = under.stream->next(boost::asio::use_future);
    under.continuation->finish();
    under.platform.runUntilIdle();
    EXPECT_EQ(last.get(), std::nullopt);
}

TEST(AsyncStreamToken, TakesNothingBeforeADeferredOperationIsStarted)
{
    NumberSource under;
    auto operation = under.stream->next(boost::asio::deferred);
    under.continuation->yield(1);
    EXPECT_EQ(under.stream->wait(), 1);

    Answers answers;
    std::move(operation)(into(answers));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{}));
    under.continuation->yield(2);
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{2}));
}

TEST(AsyncStreamToken, TakesAMoveOnlyHandlerAndReleasesIt)
{
    NumberSource under;
    Answers answers;
    auto owned = std::make_unique<std::shared_ptr<int>>(std::make_shared<int>(7));
    const std::weak_ptr<int> observed = *owned;
    under.stream->next([&answers, owned = std::move(owned)](std::optional<int> answer) { answers.push_back(answer); });
    EXPECT_FALSE(observed.expired());
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{1}));
    EXPECT_TRUE(observed.expired());
}

TEST(AsyncStreamToken, TakesMoveOnlyElements)
{
    StreamSource<std::unique_ptr<int>> under;
    Numbers numbers;
    under.stream->next([&](std::optional<std::unique_ptr<int>> number) { numbers.push_back(**number); });
    under.continuation->yield(std::make_unique<int>(1));
    under.platform.runUntilIdle();
    EXPECT_EQ(numbers, (Numbers{1}));
}

/// Takes one element after the other, each operation begun by the handler of the one before.
struct Chain {
    void operator()(std::optional<int> answer)
    {
        answers.push_back(answer);
        if (answer) {
            stream.next(*this);
        }
    }

    AsyncStream<int>& stream;
    Answers& answers;
};

TEST(AsyncStreamToken, MayBeginTheNextOperationInsideTheHandler)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        Answers answers;
        under.stream->next(Chain{*under.stream, answers});
        under.continuation->yield(1);
        under.platform.runOne();
        under.continuation->yield(2);
        under.continuation->yield(3);
        under.continuation->finish();
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{1, 2, 3, std::nullopt})) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamToken, MayDropTheStreamInsideTheHandler)
{
    NumberSource under;
    under.stream->next([&](std::optional<int>) { under.drop(); });
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamToken, CancelsTheStreamThroughItsCancellationSlot)
{
    for (const cancellation_type type :
         {cancellation_type::terminal, cancellation_type::partial, cancellation_type::total}) {
        NumberSource under;
        boost::asio::cancellation_signal signal;
        Answers answers;
        under.stream->next(boost::asio::bind_cancellation_slot(signal.slot(), into(answers)));
        signal.emit(type);
        EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
        EXPECT_EQ(answers, (Answers{}));
        under.platform.runUntilIdle();
        EXPECT_EQ(answers, (Answers{std::nullopt}));
    }
}

TEST(AsyncStreamToken, LeavesItsCancellationSlotEmptyBehind)
{
    NumberSource under;
    boost::asio::cancellation_signal signal;
    Answers answers;
    under.stream->next(boost::asio::bind_cancellation_slot(signal.slot(), into(answers)));
    EXPECT_TRUE(signal.slot().has_handler());
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    EXPECT_FALSE(signal.slot().has_handler());
    signal.emit(cancellation_type::terminal);
    EXPECT_EQ(answers, (Answers{1}));
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamToken, MayBeCancelledAfterTheStreamHasGone)
{
    NumberSource under;
    boost::asio::cancellation_signal signal;
    Answers answers;
    under.stream->next(boost::asio::bind_cancellation_slot(signal.slot(), into(answers)));
    under.drop();
    signal.emit(cancellation_type::terminal);
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamToken, CancelsTheStreamWhenAskedToStop)
{
    NumberSource under;
    std::stop_source stop;
    Answers answers;
    under.stream->next(stop.get_token())(into(answers));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{}));
    stop.request_stop();
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
}

TEST(AsyncStreamToken, CancelsTheStreamWhenAskedToStopBeforehand)
{
    NumberSource under;
    under.continuation->yield(1);
    std::stop_source stop;
    stop.request_stop();
    Answers answers;
    under.stream->next(stop.get_token())(into(answers));
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamToken, TakesNoNoticeOfAStopAfterItsAnswer)
{
    NumberSource under;
    std::stop_source stop;
    Answers answers;
    under.stream->next(stop.get_token())(into(answers));
    under.continuation->yield(1);
    under.platform.runUntilIdle();
    stop.request_stop();
    EXPECT_EQ(answers, (Answers{1}));
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamTokenDeathTest, ASecondPendingNextStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            NumberSource under;
            Answers answers;
            under.stream->next(into(answers));
            under.stream->next(into(answers));
        },
        "VEXA: a stream has one consumer, but next\\(\\) was called while another call of it was pending");
}

} // namespace
} // namespace vexa
