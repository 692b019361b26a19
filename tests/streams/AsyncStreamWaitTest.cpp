#include "StreamSource.hpp"
#include <testing/Seeds.hpp>

#include <gtest/gtest.h>

#include <iterator>
#include <stop_token>

namespace vexa {
namespace {

static_assert(std::input_iterator<AsyncStream<int>::Iterator>);
static_assert(std::sentinel_for<std::default_sentinel_t, AsyncStream<int>::Iterator>);

TEST(AsyncStreamWait, AnswersWithWhatIsBufferedAtOnce)
{
    NumberSource under;
    under.continuation->yield(1);
    under.platform.makeQueue("idle")->asyncAfter(5, [] {});
    EXPECT_EQ(under.stream->wait(), 1);
    EXPECT_EQ(under.platform.clock.elapsed(), 0.0);
}

TEST(AsyncStreamWait, BlocksUntilAnElementComes)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        const SerialQueueHandle producer = under.platform.makeQueue("producer");
        producer->asyncAfter(5, [&] { under.continuation->yield(1); });
        EXPECT_EQ(under.stream->wait(), 1) << testing::replayHint(seed);
        EXPECT_EQ(under.platform.clock.elapsed(), 5.0) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamWait, AnswersNothingWhenTheStreamEndsMeanwhile)
{
    for (const bool finishes : {false, true}) {
        NumberSource under;
        under.platform.makeQueue("producer")->asyncAfter(5, [&] {
            finishes ? under.continuation->finish() : under.stream->cancel();
        });
        EXPECT_EQ(under.stream->wait(), std::nullopt);
        EXPECT_EQ(under.ends, (Ends{finishes ? StreamEnd::finished : StreamEnd::cancelled}));
    }
}

TEST(AsyncStreamWait, AnswersNothingWhenTheStreamIsDroppedMeanwhile)
{
    NumberSource under;
    under.platform.makeQueue("other")->asyncAfter(5, [&] { under.drop(); });
    EXPECT_EQ(under.stream->wait(), std::nullopt);
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamWait, CancelsTheStreamWhenAskedToStop)
{
    NumberSource under;
    std::stop_source stop;
    under.platform.makeQueue("other")->asyncAfter(5, [&] { stop.request_stop(); });
    EXPECT_EQ(under.stream->wait(stop.get_token()), std::nullopt);
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
    EXPECT_EQ(under.platform.clock.elapsed(), 5.0);
}

TEST(AsyncStreamWait, CancelsTheStreamWhenAskedToStopBeforehand)
{
    NumberSource under;
    under.continuation->yield(1);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(under.stream->wait(stop.get_token()), std::nullopt);
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamWait, TakesNoNoticeOfAStopAfterItsAnswer)
{
    NumberSource under;
    under.continuation->yield(1);
    std::stop_source stop;
    EXPECT_EQ(under.stream->wait(stop.get_token()), 1);
    stop.request_stop();
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamWaitFor, LeavesTheStreamAsItIsWhenTheTimeIsUp)
{
    NumberSource under;
    const SerialQueueHandle producer = under.platform.makeQueue("producer");
    producer->asyncAfter(5, [&] { under.continuation->yield(1); });
    EXPECT_EQ(under.stream->waitFor(4.5), std::nullopt);
    EXPECT_EQ(under.platform.clock.elapsed(), 4.5);
    EXPECT_FALSE(under.stream->isExhausted());
    EXPECT_EQ(under.ends, (Ends{}));
    EXPECT_EQ(under.stream->waitFor(4.5), 1);
    EXPECT_EQ(under.platform.clock.elapsed(), 5.0);
}

TEST(AsyncStreamWaitFor, AsksOnceWhenThereIsNoTime)
{
    NumberSource under;
    for (const double seconds : {0.0, -1.0}) {
        EXPECT_EQ(under.stream->waitFor(seconds), std::nullopt);
        under.continuation->yield(1);
        EXPECT_EQ(under.stream->waitFor(seconds), 1);
    }
    EXPECT_EQ(under.platform.clock.elapsed(), 0.0);
}

TEST(AsyncStreamWaitFor, AnswersNothingAtOnceWhenTheStreamEnds)
{
    NumberSource under;
    under.platform.makeQueue("producer")->asyncAfter(1, [&] { under.continuation->finish(); });
    EXPECT_EQ(under.stream->waitFor(60), std::nullopt);
    EXPECT_EQ(under.platform.clock.elapsed(), 1.0);
    EXPECT_TRUE(under.stream->isExhausted());
}

TEST(AsyncStreamWaitFor, CancelsTheStreamWhenAskedToStop)
{
    NumberSource under;
    std::stop_source stop;
    under.platform.makeQueue("other")->asyncAfter(1, [&] { stop.request_stop(); });
    EXPECT_EQ(under.stream->waitFor(60, stop.get_token()), std::nullopt);
    EXPECT_EQ(under.platform.clock.elapsed(), 1.0);
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamWaitFor, TakesNoNoticeOfAStopAfterTheTime)
{
    NumberSource under;
    std::stop_source stop;
    EXPECT_EQ(under.stream->waitFor(1, stop.get_token()), std::nullopt);
    stop.request_stop();
    EXPECT_EQ(under.ends, (Ends{}));
    under.continuation->yield(1);
    EXPECT_EQ(under.stream->wait(), 1);
}

TEST(AsyncStreamLoop, VisitsEveryElementUntilTheEnd)
{
    for (const std::uint64_t seed : testing::seeds(20)) {
        NumberSource under{seed};
        const SerialQueueHandle producer = under.platform.makeQueue("producer");
        for (int number = 1; number <= 3; ++number) {
            producer->asyncAfter(number, [&under, number] { under.continuation->yield(number); });
        }
        producer->asyncAfter(4, [&] { under.continuation->finish(); });
        Numbers received;
        for (const int number : *under.stream) {
            received.push_back(number);
        }
        EXPECT_EQ(received, (Numbers{1, 2, 3})) << testing::replayHint(seed);
        EXPECT_EQ(under.platform.clock.elapsed(), 4.0) << testing::replayHint(seed);
    }
}

TEST(AsyncStreamLoop, LeavesTheStreamAsItIsWhenItIsLeft)
{
    NumberSource under;
    under.continuation->yield(1);
    under.continuation->yield(2);
    for (const int number : *under.stream) {
        EXPECT_EQ(number, 1);
        break;
    }
    EXPECT_EQ(under.ends, (Ends{}));
    EXPECT_EQ(under.stream->wait(), 2);
}

TEST(AsyncStreamLoop, EndsWhenTheStreamIsDroppedInItsBody)
{
    NumberSource under;
    under.continuation->yield(1);
    under.continuation->yield(2);
    Numbers received;
    for (const int number : *under.stream) {
        received.push_back(number);
        under.drop();
    }
    EXPECT_EQ(received, (Numbers{1}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamLoop, EndsWhenTheStreamIsCancelledInItsBody)
{
    NumberSource under;
    under.continuation->yield(1);
    under.continuation->yield(2);
    Numbers received;
    for (const int number : *under.stream) {
        received.push_back(number);
        under.stream->cancel();
    }
    EXPECT_EQ(received, (Numbers{1}));
    EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
}

TEST(AsyncStreamWaitDeathTest, ASecondWaitStopsTheProcess)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            NumberSource under;
            under.platform.makeQueue("other")->async([&] { static_cast<void>(under.stream->wait()); });
            static_cast<void>(under.stream->wait());
        },
        "VEXA: a stream has one consumer, but next\\(\\) was called while another call of it was pending");
}

} // namespace
} // namespace vexa
