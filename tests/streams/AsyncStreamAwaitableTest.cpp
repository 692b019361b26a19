#include "StreamSource.hpp"
#include <testing/Seeds.hpp>

#include <boost/asio/awaitable.hpp>
#include <boost/asio/bind_cancellation_slot.hpp>
#include <boost/asio/cancellation_signal.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/experimental/awaitable_operators.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <gtest/gtest.h>

namespace vexa {
namespace {

using boost::asio::awaitable;
using boost::asio::use_awaitable;

/// A stream whose consumer runs on an execution context of the test's own.
struct OnContext : NumberSource {
    explicit OnContext(std::uint64_t seed = testing::defaultSeed()) : NumberSource{seed} {}

    /// Runs the platform and the context until neither has anything to do.
    void run()
    {
        do {
            platform.runUntilIdle();
            context.restart();
        } while (context.poll() != 0);
    }

    boost::asio::io_context context;
};

awaitable<void> consumeByOperation(AsyncStream<int>& stream, Answers& answers)
{
    do {
        answers.push_back(co_await stream.next());
    } while (answers.back());
}

awaitable<void> consumeByToken(AsyncStream<int>& stream, Answers& answers)
{
    do {
        answers.push_back(co_await stream.next(use_awaitable));
    } while (answers.back());
}

TEST(AsyncStreamAwaitable, AwaitsEachElementAndThenNothing)
{
    for (const auto consume : {&consumeByOperation, &consumeByToken}) {
        for (const std::uint64_t seed : testing::seeds(20)) {
            OnContext under{seed};
            Answers answers;
            boost::asio::co_spawn(under.context, consume(*under.stream, answers), boost::asio::detached);
            under.run();
            EXPECT_EQ(answers, (Answers{})) << testing::replayHint(seed);
            under.continuation->yield(1);
            under.run();
            EXPECT_EQ(answers, (Answers{1})) << testing::replayHint(seed);
            under.continuation->yield(2);
            under.continuation->yield(3);
            under.continuation->finish();
            under.run();
            EXPECT_EQ(answers, (Answers{1, 2, 3, std::nullopt})) << testing::replayHint(seed);
        }
    }
}

awaitable<void> countTurns(AsyncStream<int>& stream, boost::asio::io_context& context, std::vector<bool>& onTheContext)
{
    while (const std::optional<int> answer = co_await stream.next(use_awaitable)) {
        onTheContext.push_back(context.get_executor().running_in_this_thread());
    }
}

TEST(AsyncStreamAwaitable, GoesOnOnItsOwnExecutor)
{
    OnContext under;
    std::vector<bool> onTheContext;
    boost::asio::co_spawn(under.context, countTurns(*under.stream, under.context, onTheContext), boost::asio::detached);
    under.run();
    under.continuation->yield(1);
    under.continuation->yield(2);
    under.continuation->finish();
    under.run();
    EXPECT_EQ(onTheContext, (std::vector<bool>{true, true}));
}

awaitable<void> countTurnsOfTheOperation(AsyncStream<int>& stream, boost::asio::io_context& context,
                                         std::vector<bool>& onTheContext)
{
    while (const std::optional<int> answer = co_await stream.next()) {
        onTheContext.push_back(context.get_executor().running_in_this_thread());
    }
}

TEST(AsyncStreamAwaitable, GoesOnOnItsOwnExecutorWithoutAToken)
{
    OnContext under;
    std::vector<bool> onTheContext;
    boost::asio::co_spawn(under.context, countTurnsOfTheOperation(*under.stream, under.context, onTheContext),
                          boost::asio::detached);
    under.run();
    under.continuation->yield(1);
    under.continuation->yield(2);
    under.continuation->finish();
    under.run();
    EXPECT_EQ(onTheContext, (std::vector<bool>{true, true}));
}

awaitable<void> race(AsyncStream<int>& first, AsyncStream<int>& second, std::vector<std::size_t>& winners)
{
    using namespace boost::asio::experimental::awaitable_operators;
    const auto result = co_await (first.next(use_awaitable) || second.next(use_awaitable));
    winners.push_back(result.index());
}

TEST(AsyncStreamAwaitable, CancelsTheStreamThatLosesARace)
{
    OnContext under;
    Ends endsOfTheOther;
    AsyncStream<int> other{under.platform, [&](const auto& continuation) {
                               continuation.onTermination([&](StreamEnd end) { endsOfTheOther.push_back(end); });
                           }};
    std::vector<std::size_t> winners;
    boost::asio::co_spawn(under.context, race(other, *under.stream, winners), boost::asio::detached);
    under.run();
    under.continuation->yield(1);
    under.run();
    EXPECT_EQ(winners, (std::vector<std::size_t>{1}));
    EXPECT_EQ(endsOfTheOther, (Ends{StreamEnd::cancelled}));
    EXPECT_EQ(under.ends, (Ends{}));
}

TEST(AsyncStreamAwaitable, CancelsTheStreamWhenItsCoroutineIsCancelled)
{
    for (const auto consume : {&consumeByOperation, &consumeByToken}) {
        OnContext under;
        Answers answers;
        boost::asio::cancellation_signal signal;
        boost::asio::co_spawn(under.context, consume(*under.stream, answers),
                              boost::asio::bind_cancellation_slot(signal.slot(), boost::asio::detached));
        under.run();
        signal.emit(boost::asio::cancellation_type::terminal);
        under.run();
        EXPECT_EQ(under.ends, (Ends{StreamEnd::cancelled}));
        EXPECT_EQ(answers, (Answers{std::nullopt}));
    }
}

TEST(AsyncStreamAwaitable, IsAnsweredWhenTheStreamIsDropped)
{
    OnContext under;
    Answers answers;
    boost::asio::co_spawn(under.context, consumeByToken(*under.stream, answers), boost::asio::detached);
    under.run();
    under.drop();
    under.run();
    EXPECT_EQ(answers, (Answers{std::nullopt}));
}

} // namespace
} // namespace vexa
