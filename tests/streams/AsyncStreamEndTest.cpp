#include "StreamSource.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>

namespace vexa {
namespace {

TEST(AsyncStreamEnd, LeavesTheBufferWhenTheProducerFinishes)
{
    NumberSource under;
    under.continuation->yield(1);
    under.continuation->yield(2);
    under.continuation->finish();
    EXPECT_FALSE(under.stream->isExhausted());
    EXPECT_EQ(under.stream->wait(), 1);
    EXPECT_EQ(under.stream->wait(), 2);
    EXPECT_EQ(under.stream->wait(), std::nullopt);
    EXPECT_TRUE(under.stream->isExhausted());
    EXPECT_EQ(under.ends, (Ends{StreamEnd::finished}));
}

TEST(AsyncStreamEnd, DropsTheBufferWhenTheConsumerCancels)
{
    NumberSource under;
    under.continuation->yield(1);
    under.stream->cancel();
    EXPECT_TRUE(under.stream->isExhausted());
    EXPECT_EQ(under.stream->wait(), std::nullopt);
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamEnd, DropsWhatIsLeftWhenTheConsumerCancelsAfterTheFinish)
{
    NumberSource under;
    under.continuation->yield(1);
    under.continuation->finish();
    under.stream->cancel();
    EXPECT_TRUE(under.stream->isExhausted());
    EXPECT_EQ(under.stream->wait(), std::nullopt);
    EXPECT_EQ(under.ends, (Ends{StreamEnd::finished}));
}

TEST(AsyncStreamEnd, HappensOnce)
{
    NumberSource finished;
    finished.continuation->finish();
    finished.continuation->finish();
    finished.stream->cancel();
    finished.drop();
    EXPECT_EQ(finished.ends, (Ends{StreamEnd::finished}));

    NumberSource cancelled;
    cancelled.stream->cancel();
    cancelled.continuation->finish();
    cancelled.stream->cancel();
    cancelled.drop();
    EXPECT_EQ(cancelled.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamEnd, ComesWithTheStreamBeingDropped)
{
    NumberSource under;
    under.drop();
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
    EXPECT_EQ(under.continuation->yield(1), YieldResult::terminated);
}

TEST(AsyncStreamEnd, TellsTheProducerThatItsElementsAreDropped)
{
    NumberSource under;
    EXPECT_EQ(under.continuation->yield(1), YieldResult::enqueued);
    under.continuation->finish();
    EXPECT_EQ(under.continuation->yield(2), YieldResult::terminated);
    EXPECT_EQ(under.stream->wait(), 1);
    EXPECT_EQ(under.stream->wait(), std::nullopt);
}

TEST(AsyncStreamEnd, IsNotReachedWhileTheStreamIsOnlyEmpty)
{
    NumberSource under;
    EXPECT_FALSE(under.stream->isExhausted());
    under.continuation->yield(1);
    EXPECT_EQ(under.stream->wait(), 1);
    EXPECT_FALSE(under.stream->isExhausted());
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamEnd, AnswersNothingForEverToEveryWayOfAsking)
{
    NumberSource under;
    under.continuation->finish();
    Answers answers;
    for (int round = 0; round < 3; ++round) {
        answers.push_back(under.stream->wait());
        answers.push_back(under.stream->waitFor(60));
        under.stream->next([&](std::optional<int> answer) { answers.push_back(answer); });
        under.platform.runUntilIdle();
        for (const int number : *under.stream) {
            answers.emplace_back(number);
        }
    }
    EXPECT_EQ(answers, Answers(9));
    EXPECT_EQ(under.platform.clock.elapsed(), 0.0);
}

TEST(AsyncStreamTermination, IsHandledAtOnceWhenTheHandlerComesAfterTheEnd)
{
    NumberSource under;
    under.continuation->finish();
    Ends late;
    under.continuation->onTermination([&](StreamEnd end) { late.push_back(end); });
    EXPECT_EQ(late, (Ends{StreamEnd::finished}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::finished}));

    under.drop();
    EXPECT_EQ(late, (Ends{StreamEnd::finished}));
}

TEST(AsyncStreamTermination, IsHandledByTheHandlerThatWasSetLast)
{
    NumberSource under;
    Ends later;
    under.continuation->onTermination([&](StreamEnd end) { later.push_back(end); });
    under.stream->cancel();
    EXPECT_EQ(later, (Ends{StreamEnd::cancelled}));
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamTermination, NeedsNoHandler)
{
    NumberSource under;
    under.continuation->onTermination(nullptr);
    under.continuation->finish();
    under.continuation->onTermination(nullptr);
    EXPECT_EQ(under.stream->wait(), std::nullopt);
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamTermination, IsHandledBeforeTheConsumerHearsOfTheEnd)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        std::vector<std::string> journal;
        under.continuation->onTermination([&](StreamEnd) {
            under.platform.runUntilIdle();
            journal.emplace_back("handled");
        });
        under.stream->next([&](std::optional<int>) { journal.emplace_back("heard"); });
        under.continuation->finish();
        under.platform.runUntilIdle();
        EXPECT_EQ(journal, (std::vector<std::string>{"handled", "heard"})) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamTermination, ReleasesTheHandlerThatHasRun)
{
    NumberSource under;
    auto owned = std::make_shared<int>(7);
    const std::weak_ptr<int> observed = owned;
    under.continuation->onTermination([owned = std::move(owned)](StreamEnd) {});
    EXPECT_FALSE(observed.expired());
    under.continuation->finish();
    EXPECT_TRUE(observed.expired());
}

TEST(AsyncStreamTermination, ReleasesAHandlerThatHoldsItsOwnStreamsContinuation)
{
    testing::VirtualPlatform platform;
    auto owned = std::make_shared<int>(7);
    const std::weak_ptr<int> observed = owned;
    {
        const AsyncStream<int> stream{platform, [&](const auto& continuation) {
                                          continuation.onTermination([continuation, owned = std::move(owned)](
                                                                         StreamEnd) { continuation.finish(); });
                                      }};
        EXPECT_FALSE(observed.expired());
    }
    EXPECT_TRUE(observed.expired());
}

TEST(AsyncStreamTermination, LogsWhatTheHandlerThrowsAndStillAnswersTheConsumer)
{
    NumberSource under;
    const auto failing = [](StreamEnd) { throw std::runtime_error{"the handler fails"}; };
    under.continuation->onTermination(failing);
    Answers answers;
    under.stream->next([&](std::optional<int> answer) { answers.push_back(answer); });
    under.stream->cancel();
    under.continuation->onTermination(failing);
    under.platform.runUntilIdle();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
    EXPECT_EQ(under.platform.logLines(),
              (std::vector<std::string>{"VEXA: a stream's termination handler threw: the handler fails",
                                        "VEXA: a stream's termination handler threw: the handler fails"}));
}

TEST(AsyncStreamTermination, MayUseTheStreamFromInsideTheHandler)
{
    NumberSource under;
    std::vector<YieldResult> results;
    under.continuation->onTermination([&](StreamEnd) {
        results.push_back(under.continuation->yield(1));
        under.continuation->finish();
        under.stream->cancel();
    });
    under.continuation->finish();
    EXPECT_EQ(results, (std::vector<YieldResult>{YieldResult::terminated}));
    EXPECT_EQ(under.stream->wait(), std::nullopt);
}

TEST(AsyncStreamMove, CarriesTheStreamAlong)
{
    NumberSource under;
    under.continuation->yield(1);
    AsyncStream<int> moved = std::move(*under.stream);
    EXPECT_EQ(under.ends, (Ends{}));
    EXPECT_EQ(moved.wait(), 1);
    under.continuation->yield(2);
    EXPECT_EQ(moved.wait(), 2);
    under.drop();
    EXPECT_EQ(under.ends, (Ends{}));
    moved.cancel();
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamMove, CancelsTheStreamThatIsReplaced)
{
    NumberSource replaced;
    NumberSource under;
    under.continuation->yield(1);
    *replaced.stream = std::move(*under.stream);
    EXPECT_EQ(replaced.ends, (Ends{StreamEnd::cancelled}));
    EXPECT_EQ(under.ends, (Ends{}));
    EXPECT_EQ(replaced.stream->wait(), 1);
    replaced.drop();
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamMove, LeavesAStreamAsItIsWhenMovedToItself)
{
    NumberSource under;
    AsyncStream<int>& same = *under.stream;
    *under.stream = std::move(same);
    under.continuation->yield(1);
    EXPECT_EQ(under.stream->wait(), 1);
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamMove, LeavesAStreamBehindThatHasEnded)
{
    NumberSource under;
    AsyncStream<int> moved = std::move(*under.stream);
    AsyncStream<int>& left = *under.stream;
    EXPECT_TRUE(left.isExhausted());
    EXPECT_EQ(left.wait(), std::nullopt);
    EXPECT_EQ(left.waitFor(60), std::nullopt);
    EXPECT_EQ(left.begin(), left.end());
    left.cancel();
    EXPECT_EQ(under.ends, (Ends{}));
    EXPECT_FALSE(moved.isExhausted());
}

TEST(AsyncStreamMoveDeathTest, NextOfAStreamThatHasBeenMovedAwayStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    NumberSource under;
    const AsyncStream<int> moved = std::move(*under.stream);
    EXPECT_DEATH(static_cast<void>(under.stream->next()),
                 "VEXA: next\\(\\) was called on a stream that has been moved away");
    EXPECT_DEATH(under.stream->next([](std::optional<int>) {}),
                 "VEXA: next\\(\\) was called on a stream that has been moved away");
}

} // namespace
} // namespace vexa
