#include "StreamSource.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <new>
#include <numeric>
#include <stdexcept>

namespace vexa {
namespace {

/// An element whose memory in containers is counted.
struct Counted {
    int number;
};

std::size_t bytesOfCounted = 0;

} // namespace
} // namespace vexa

/// Counts the memory that containers of Counted hold.
template <>
class std::allocator<vexa::Counted> {
public:
    using value_type = vexa::Counted;

    value_type* allocate(std::size_t count)
    {
        vexa::bytesOfCounted += count * sizeof(value_type);
        return static_cast<value_type*>(::operator new(count * sizeof(value_type)));
    }

    void deallocate(value_type* memory, std::size_t count) noexcept
    {
        vexa::bytesOfCounted -= count * sizeof(value_type);
        ::operator delete(memory);
    }

    [[maybe_unused]] friend bool operator==(const allocator&, const allocator&) noexcept { return true; }
};

namespace vexa {
namespace {

constexpr int burst = 100'000;
constexpr std::size_t littleMemory = 64 * sizeof(Counted);

TEST(AsyncStreamBuffer, KeepsEveryElementInOrder)
{
    NumberSource under;
    Numbers expected(burst);
    std::iota(expected.begin(), expected.end(), 0);
    for (const int number : expected) {
        under.continuation->yield(number);
    }
    under.continuation->finish();
    Numbers received;
    for (const int number : *under.stream) {
        received.push_back(number);
    }
    EXPECT_EQ(received, expected);
}

TEST(AsyncStreamBuffer, KeepsTheOrderWhileElementsComeAndGo)
{
    NumberSource under;
    int yielded = 0;
    Numbers received;
    for (int round = 0; round < 200; ++round) {
        for (int each = 0; each < 3 + round % 5; ++each) {
            under.continuation->yield(yielded++);
        }
        for (int each = 0; each < 2 + round % 4; ++each) {
            received.push_back(under.stream->waitFor(0).value());
        }
    }
    under.continuation->finish();
    for (const int number : *under.stream) {
        received.push_back(number);
    }
    Numbers expected(static_cast<std::size_t>(yielded));
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(received, expected);
}

TEST(AsyncStreamBuffer, HoldsNoMemoryBeforeItsFirstElement)
{
    const StreamSource<Counted> under;
    EXPECT_EQ(bytesOfCounted, 0U);
}

TEST(AsyncStreamBuffer, GivesItsMemoryBackAfterABurst)
{
    StreamSource<Counted> under;
    for (int number = 0; number < burst; ++number) {
        under.continuation->yield({number});
    }
    EXPECT_GE(bytesOfCounted, burst * sizeof(Counted));
    for (int number = 0; number < burst; ++number) {
        EXPECT_EQ(under.stream->wait().value().number, number);
    }
    EXPECT_LE(bytesOfCounted, littleMemory);
    under.drop();
    EXPECT_EQ(bytesOfCounted, 0U);
}

TEST(AsyncStreamBuffer, GivesItsMemoryBackWhenTheStreamIsCancelled)
{
    StreamSource<Counted> under;
    for (int number = 0; number < burst; ++number) {
        under.continuation->yield({number});
    }
    under.stream->cancel();
    EXPECT_EQ(bytesOfCounted, 0U);
}

TEST(AsyncStreamBuffer, DoesNotGrowWhileAConsumerKeepsUpWithoutEverEmptyingIt)
{
    StreamSource<Counted> under;
    under.continuation->yield({0});
    for (int number = 1; number < burst; ++number) {
        under.continuation->yield({number});
        EXPECT_EQ(under.stream->wait().value().number, number - 1);
    }
    EXPECT_LE(bytesOfCounted, littleMemory);
}

TEST(AsyncStreamBuffer, LetsGoOfWhatTheConsumerHasTaken)
{
    StreamSource<std::shared_ptr<int>> under;
    const auto first = std::make_shared<int>(1);
    const auto second = std::make_shared<int>(2);
    under.continuation->yield(first);
    under.continuation->yield(second);
    EXPECT_EQ(under.stream->wait(), first);
    EXPECT_EQ(first.use_count(), 1);
    EXPECT_EQ(second.use_count(), 2);
    under.stream->cancel();
    EXPECT_EQ(second.use_count(), 1);
}

TEST(AsyncStreamBuffer, TakesMoveOnlyElements)
{
    StreamSource<std::unique_ptr<int>> under;
    for (int number = 1; number <= 40; ++number) {
        under.continuation->yield(std::make_unique<int>(number));
    }
    under.continuation->finish();
    EXPECT_EQ(*under.stream->wait().value(), 1);
    EXPECT_EQ(*under.stream->waitFor(1).value(), 2);
    int last = 2;
    for (const std::unique_ptr<int>& number : *under.stream) {
        EXPECT_EQ(*number, last + 1);
        last = *number;
    }
    EXPECT_EQ(last, 40);
}

TEST(AsyncStreamBuild, RunsBeforeTheStreamIsThere)
{
    testing::VirtualPlatform platform;
    int builds = 0;
    AsyncStream<int> stream{platform, [&](const AsyncStream<int>::Continuation& continuation) {
                                ++builds;
                                continuation.yield(1);
                                continuation.finish();
                            }};
    EXPECT_EQ(builds, 1);
    EXPECT_EQ(stream.wait(), 1);
    EXPECT_EQ(stream.wait(), std::nullopt);
}

TEST(AsyncStreamBuild, CancelsTheStreamWhenItThrows)
{
    testing::VirtualPlatform platform;
    std::vector<StreamEnd> ends;
    auto held = std::make_shared<int>(1);
    const std::weak_ptr<int> observed = held;

    EXPECT_THROW(AsyncStream<int>(platform,
                                  [&](const AsyncStream<int>::Continuation& continuation) {
                                      continuation.onTermination([&ends, continuation, held = std::move(held)](
                                                                     StreamEnd end) { ends.push_back(end); });
                                      continuation.yield(1);
                                      throw std::runtime_error("no room");
                                  }),
                 std::runtime_error);

    EXPECT_EQ(ends, (std::vector{StreamEnd::cancelled}));
    EXPECT_TRUE(observed.expired());
}

TEST(AsyncStreamBuild, GivesAContinuationWhoseCopiesSendIntoTheSameStream)
{
    NumberSource under;
    const auto copy = *under.continuation;
    copy.yield(1);
    under.continuation->yield(2);
    copy.finish();
    EXPECT_EQ(under.continuation->yield(3), YieldResult::terminated);
    EXPECT_EQ(under.stream->wait(), 1);
    EXPECT_EQ(under.stream->wait(), 2);
    EXPECT_EQ(under.stream->wait(), std::nullopt);
}

} // namespace
} // namespace vexa
